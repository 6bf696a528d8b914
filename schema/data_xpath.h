// From data paths to XPath expressions over replies.
//
//     /m/c/l[k1=a,k2=b]/x    /m:c/m:l[m:k1='a' and m:k2='b']/m:x
//
// Every component and key name carries the module in force there: the last
// prefix seen, at first the module that the path begins with.
#pragma once

#include "base/text.h"
#include "link/xpath.h"

// The expression for a masked data path of at least two components, and into
// *namespaces the module prefixes that it uses. Null when the path is too short, a prefix
// is no module (logged), or memory runs out.
heap_text data_xpath(const char *path, ns_list *namespaces);
