// The operand of a command: the word that names a place.
#ifndef VANDEL_COMMANDS_OPERAND_H
#define VANDEL_COMMANDS_OPERAND_H

#include "base/text.h"

// The masked absolute path of an operand that names a place in the model; null with
// a message, and then the operand is unmasked.
heap_text resolve_operand(char *operand);

#endif
