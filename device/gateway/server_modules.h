// The namespaces of a server's modules, by name.
#pragma once

#include <string_view>

#include "device/gateway/byte_buffer.h"

// All zero: none.
struct server_modules {
    byte_buffer texts;
    byte_buffer index; // where in texts each stands
};

// Adds one, if its name can be a prefix. 0, or -1: there are too many, or out of memory.
int server_modules_add(server_modules *modules, std::string_view name, std::string_view uri);

// Call it when all are added.
void server_modules_sort(server_modules *modules);

// Whether there is none.
bool server_modules_empty(const server_modules *modules);

// The module's namespace, until the record changes; empty: there is no such module.
std::string_view server_modules_find(const server_modules *modules, std::string_view name);
