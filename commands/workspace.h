// The workspace and the prompt that shows it.
//
// The workspace is a normalised absolute data path, unmasked, at or below the
// rpc's node in RPC mode. The prompt is "\n%s$ " with it, and in RPC mode
// "\n[%s]%s$ " with the rpc's name and what the workspace has below it.
#pragma once

// Makes path (masked or not) the workspace and, in the one-shot mode, records
// it. 0, or -1 when memory runs out (logged), and then nothing changes.
int workspace_set(const char *path);

// Goes back to the root, in RPC mode to the rpc's node.
void workspace_reset();
