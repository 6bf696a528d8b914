// A schema for tests of what the shell does with one.
#pragma once

#include "tests/support/fake_redis.h"

// A schema with every kind of node; "o" is a second module that augments "m".
inline void sample_schema()
{
    fake_redis_put_module("m", "urn:m");
    fake_redis_put_module("o", "urn:o");
    fake_redis_put_node("/m", "c", fake_container);
    fake_redis_put_node("/m", "top", fake_leaf);
    fake_redis_put_node("/m", "state", fake_container, false);
    fake_redis_put_node("/m/state", "load", fake_leaf, false);
    fake_redis_put_node("/m/c", "x", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "y", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "id", fake_leaf, true, "identityref");
    fake_redis_put_node("/m/c", "un", fake_leaf, true, "union");
    fake_redis_put_node("/m/c", "up", fake_leaf, false, "uint32");
    fake_redis_put_node("/m/c", "ll", fake_leaf_list, true, "string");
    fake_redis_put_node("/m/c", "sub", fake_container);
    fake_redis_put_node("/m/c/sub", "z", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "l", fake_list);
    fake_redis_put_node("/m/c/l", "name", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]", "name", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]", "v", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]", "in", fake_list);
    fake_redis_put_node("/m/c/l[]/in", "k", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]/in[]", "k", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]/in[]", "w", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "l2", fake_list);
    fake_redis_put_node("/m/c/l2", "k2", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l2", "k1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l2[]", "k1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l2[]", "k2", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l2[]", "v", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "o:box", fake_container);
    fake_redis_put_node("/m/c/o:box", "lid", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "ch", fake_choice);
    fake_redis_put_node("/m/c/ch", "ca", fake_case);
    fake_redis_put_node("/m/c/ch", "cb", fake_case);
    fake_redis_put_node("/m/c/ch/ca", "a1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/ch/ca", "a2", fake_container);
    fake_redis_put_node("/m/c/ch/ca/a2", "deep", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/ch/cb", "b1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/ch/cb", "nest", fake_choice);
    fake_redis_put_node("/m/c/ch/cb/nest", "n1", fake_case);
    fake_redis_put_node("/m/c/ch/cb/nest", "n2", fake_case);
    fake_redis_put_node("/m/c/ch/cb/nest/n1", "p1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/ch/cb/nest/n2", "p2", fake_leaf, true, "string");
    fake_redis_put_node("/m", "r", fake_rpc);
    fake_redis_put_node("/m/r", "input", fake_input);
    fake_redis_put_node("/m/r/input", "p", fake_leaf, true, "string");
    fake_redis_put_node("/m/r/input", "pc", fake_container);
    fake_redis_put_node("/m/r/input/pc", "q", fake_leaf, true, "string");
    fake_redis_put_node("/m/r/input", "pl", fake_list);
    fake_redis_put_node("/m/r/input/pl", "n", fake_leaf, true, "string");
    fake_redis_put_node("/m/r/input/pl[]", "n", fake_leaf, true, "string");
    fake_redis_put_node("/m/r/input/pl[]", "d", fake_leaf, true, "string");
    fake_redis_put_node("/m", "bare", fake_rpc);
    fake_redis_put_node("/o", "oc", fake_container);
    fake_redis_put_node("/o/oc", "leaf", fake_leaf, true, "string");
}
