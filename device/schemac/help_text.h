// The help texts that an operator sees beside the names of schema nodes.
#pragma once

#include <libyang/libyang.h>
#include <string>

#include "device/schemac/type_names.h"

// The description as one line, cut to about 200 characters; for leaves and
// leaf-lists then, in brackets, what is needed to type a value: the type as the
// model names it, range or length, the values of an enumeration, the bits, the
// identities, the units, the default, and whether it is mandatory; for lists
// the names of the keys. "Administrative state. [enumeration: up | down,
// default up]"
std::string make_help_text(const type_names *names, const lysc_node *node);

// Whether two nodes have the same help text and built-in type, as far as that is soon told: that
// of lists only when they come from one statement.
bool has_same_help(const type_names *names, const lysc_node *one, const lysc_node *other);

// The built-in type of a leaf or leaf-list, with its typedefs resolved; empty
// for other nodes. A reference to a union or an identityref goes by that name,
// because its values are written like theirs.
const char *built_in_type_name(const lysc_node *node);
