// The operand of a command: the word that names a place.
#ifndef VANDEL_COMMANDS_OPERAND_H
#define VANDEL_COMMANDS_OPERAND_H

#include "schema/place.h"

// The place that an operand names where things can be staged or entered; one without
// a schema path, with a message, when there is none, and then the operand is unmasked.
place resolve_operand(char *operand);

#endif
