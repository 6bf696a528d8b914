// The copy-config request.
#ifndef VANDEL_LINK_COPY_CONFIG_H
#define VANDEL_LINK_COPY_CONFIG_H

enum datastore_code {
    datastore_candidate = 0,
    datastore_running = 1,
    datastore_startup = 2,
    datastore_config = 3, // configuration given in the request itself
    datastore_url = 4,
    datastore_none = 5,
};

// The code of a word: a name above, any other word a url, null none.
datastore_code datastore_code_of(const char *word);

// Copies a datastore: sends the request, prints the reply, reports failures.
// A source of code datastore_config is the staged configuration, which is
// dropped with it, when `config_text` is null, and that text otherwise.
void copy_config(const char *source, datastore_code source_code, const char *config_text,
                 const char *target, datastore_code target_code);

#endif
