// What the code under test prints to standard output, as a text.
#pragma once

#include <string>

// While one lives, descriptor 1 leads into a file; only one may live at a time.
class captured_output
{
  public:
    captured_output();
    ~captured_output();
    captured_output(const captured_output &) = delete;
    captured_output &operator=(const captured_output &) = delete;

    // Everything printed since the beginning, zero bytes included.
    std::string text() const;

  private:
    int file;
    int original;
};
