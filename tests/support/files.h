// Whole files, read and written in one call.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

// The bytes of a file; "(no file)" where none can be opened.
inline std::string file_text(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file.good())
        return "(no file)";
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Makes the file, or replaces what it holds.
inline void write_file(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}
