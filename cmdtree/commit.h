// The command commit: everything staged, as one NETCONF request.
#ifndef VANDEL_CMDTREE_COMMIT_H
#define VANDEL_CMDTREE_COMMIT_H

// Takes the command line from the command word on, reports failures to the
// operator, and returns 0.
int cmd_commit(const char *line);

#endif
