// The operand of a command: the word that names a place, and how it is refused.
#pragma once

#include "schema/place.h"

// The place that an operand names where things can be staged or entered; one without
// a schema path, with a message, when there is none, and then the operand is unmasked.
place resolve_operand(char *operand);

// Refusals. Each takes a masked text of the caller's and leaves it unmasked.

// The operand, as it was typed, names nothing that the command can use.
void print_error_parameter(char *operand);

// The node at the path is not configuration.
void print_not_config_node(char *path);
