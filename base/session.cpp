#include "base/session.h"

#include <type_traits>

static_assert(std::is_trivially_destructible_v<session_record>,
              "the listener thread may outlive main");

session_record session;
int server_fd = -1;
