// What a schema database holds for those who ask how it was made.
//
// Each note is a hash whose name does not begin with '/', so that the shell never
// looks it up. Its fields are module names.
#pragma once

#include <libyang/libyang.h>

#include "device/schemac/content.h"

constexpr char note_revisions[] = "schemac:revisions";
constexpr char note_features_on[] = "schemac:features-on"; // with blanks between
constexpr char note_features_off[] = "schemac:features-off";
constexpr char note_origin[] = "schemac:origin"; // which has another field

// Hands on the notes on all modules of the context; of a module in two revisions on
// the one whose nodes are stored.
void notes_tell(const ly_ctx *context, const hash_sink &sink);
