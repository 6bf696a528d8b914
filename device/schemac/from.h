// The schema of a server that is running.
#ifndef VANDEL_SCHEMAC_FROM_H
#define VANDEL_SCHEMAC_FROM_H

// Becomes the program that asks a server for its modules, and then schemac again,
// to compile them. words: what follows --from, ended by null. Returns 1 after the
// cause has been printed.
int from_server(char **words);

#endif
