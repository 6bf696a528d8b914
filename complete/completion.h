// The two helping keys of the prompt.
#pragma once

struct tinyrl;

// Key codes to bind them to.
constexpr int completion_tab = 9;
constexpr int completion_question_mark = 63;

// Tab: completes the word before the cursor, or inserts what all candidates
// share, or lists them. False when there is no candidate.
bool completion_tab_key(tinyrl *editor, int key);

// '?': lists what may stand at the cursor, with what each candidate means, and
// inserts what they share. Always false, so that the bell rings.
bool completion_help_key(tinyrl *editor, int key);
