// The help texts that an operator sees beside the names of schema nodes.
#pragma once

#include <libyang/libyang.h>
#include <string>
#include <unordered_map>

#include "device/schemac/type_names.h"

// What help texts of one context are made with.
struct help_maker {
    type_names names;
    // One line for each description of late: what stands in a grouping comes again
    // wherever that is used. libyang keeps equal texts once.
    std::unordered_map<const char *, std::string> descriptions;
};

// The description as one line, cut to about 200 characters; for leaves and
// leaf-lists then, in brackets, what is needed to type a value: the type as the
// model names it, range or length, the values of an enumeration, the bits, the
// identities, the units, the default, and whether it is mandatory; for lists
// the names of the keys. "Administrative state. [enumeration: up | down,
// default up]"
std::string make_help_text(help_maker *maker, const lysc_node *node);

// The built-in type of a leaf or leaf-list, with its typedefs resolved; empty
// for other nodes. A reference to a union or an identityref goes by that name,
// because its values are written like theirs.
const char *built_in_type_name(const lysc_node *node);
