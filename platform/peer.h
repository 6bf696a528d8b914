// Who is at the other end of a Unix socket.
#pragma once

// Whether it was root, or the user that this process acts for, who began to listen at
// the other end of a connected Unix stream socket. Where the system does not say, it
// was not. What is sent to anybody else is given away, passwords included, and what
// comes from there is made up.
//
// That user is the effective one: a program that somebody else runs with root's
// rights must not send to that somebody what root may read.
bool peer_is_trusted(int descriptor);
