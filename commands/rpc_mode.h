// RPC mode: the workspace is a YANG rpc, and what is staged is its input.
#pragma once

// Takes a line whose first word is no command. A line that names an rpc alone
// enters it. Returns 0 for an rpc, else non-zero, with a message unless another
// rpc is being entered.
int rpc_mode_enter(const char *line);

// Ends RPC mode: the workspace becomes the rpc's parent. Nothing happens
// outside RPC mode, or when memory runs out.
void rpc_mode_leave();
