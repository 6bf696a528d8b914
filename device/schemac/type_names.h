// The types of leaves as their models write them.
//
// The compiled schema of libyang knows a leaf's built-in type only; the name
// that the modeller chose, such as inet:ip-address, stands in the parsed schema,
// at the leaf or at a deviation that replaces its type.
#pragma once

#include <libyang/libyang.h>
#include <unordered_map>

struct type_names {
    std::unordered_map<const lysc_node *, const lysp_type *> deviations;
};

// Collects the types that deviations replace; they live as long as the context,
// which must keep links to the parsed nodes (LY_CTX_SET_PRIV_PARSED).
type_names type_names_collect(const ly_ctx *context);

// The type of a leaf or leaf-list as written; null when it is not known.
const lysp_type *type_names_find(const type_names *names, const lysc_node *node);
