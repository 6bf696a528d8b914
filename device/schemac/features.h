// The features of modules in a context.
#pragma once

#include <libyang/libyang.h>
#include <string>
#include <vector>

// The names of a module's features that are on or off.
std::vector<std::string> features_of(const lys_module *module, bool wants_on);

// What is wrong with these features of a module, which must be parsed: empty,
// or a text that names the first one that the module lacks. "*" is never wrong.
std::string features_missing(const lys_module *module, const std::vector<std::string> &features);

// Turns all features on in all modules that have been parsed and not compiled,
// but for those that depend on another one's being off. Modules that only lend
// groupings count, too: their features decide what the groupings hold.
void features_enable_all(const ly_ctx *context);

// Whether any module of the context has a feature that is off.
bool features_any_off(const ly_ctx *context);
