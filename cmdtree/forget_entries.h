// Forgetting the list entries that a delete takes away.
#ifndef VANDEL_CMDTREE_FORGET_ENTRIES_H
#define VANDEL_CMDTREE_FORGET_ENTRIES_H

// Forgets the locally added list entries that a deleted path stands for: the
// entry itself when the path's last predicate names one, all below the path
// when it holds no predicate. The path is masked.
void forget_deleted_entries(const char *path);

#endif
