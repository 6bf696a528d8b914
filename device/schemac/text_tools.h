// Texts of models as one line of bounded length.
#pragma once

#include <string>
#include <vector>

// Shows characters that a terminal would obey or not show (terminal_text.h), and
// bytes that are not UTF-8, as '?'.
std::string printable_text(std::string text);

// Folds each run of white space to one blank and drops it at both ends; the
// result is printable.
std::string fold_text(std::string text);

// The words with a blank between each two.
std::string joined_text(const std::vector<std::string> &words);

// Cuts to at most limit characters (not bytes) of UTF-8, at the end of a word
// where one is near; a cut text ends in an ellipsis, which is not counted.
std::string cut_text(std::string text, size_t limit);
