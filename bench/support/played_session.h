// A session over a played database.
#pragma once

#include <stdlib.h>
#include <string.h>

#include "base/session.h"
#include "redisapi.h"
#include "tests/support/fake_redis.h"

// The schema has a module, m, and in it a container, /m/c, with a list, /m/c/l, of
// the key k and the leaf x. A benchmark puts in more.
class played_session
{
  public:
    played_session()
    {
        fake_redis_reset();
        fake_redis_put_module("m", "urn:m");
        fake_redis_put_node("/m", "c", fake_container);
        fake_redis_put_node("/m/c", "l", fake_list);
        fake_redis_put_node("/m/c/l", "k", fake_leaf);
        fake_redis_put_node("/m/c/l[]", "k", fake_leaf);
        fake_redis_put_node("/m/c/l[]", "x", fake_leaf);
        session.pwd = strdup("/");
        session.redis = redis_connect();
    }

    ~played_session()
    {
        redis_freeconn(session.redis);
        session.redis = nullptr;
        free(session.pwd);
        session.pwd = nullptr;
    }

    played_session(const played_session &) = delete;
    played_session &operator=(const played_session &) = delete;
};
