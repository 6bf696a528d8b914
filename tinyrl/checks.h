// Programming errors: say what was broken, give the terminal back, abort.
#pragma once

// Prints "FILE: FUNCTION: Assertion `EXPRESSION' failed." to standard error and
// aborts, after a terminal in raw mode has been given back its settings.
[[noreturn]] void tinyrl_check_failed(const char *expression, const char *file,
                                      const char *function);

// Does nothing where the expression holds, and does not return where it does not.
inline void tinyrl_check(bool holds, const char *expression, const char *file, const char *function)
{
    if (!holds)
        tinyrl_check_failed(expression, file, function);
}
