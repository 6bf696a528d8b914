// Tells how far libyang is while it compiles, of which it says nothing itself.
#pragma once

#include <libyang/libyang.h>
#include <pthread.h>
#include <semaphore.h>
#include <string>
#include <vector>

// Called by a thread of its own with how many modules of how many libyang has begun
// with, and one of the last of them.
using compile_told = void (*)(const std::string &module, size_t number, size_t count);

struct compile_teller {
    std::vector<const lys_module *> waiting; // that libyang has not begun with
    size_t count;                            // of all modules
    compile_told told;
    pthread_t thread;
    sem_t is_over;
    bool is_running;
};

// Starts to tell of the modules of the context. Where that fails, nothing is told.
void compile_teller_start(compile_teller *teller, const ly_ctx *context, compile_told told);

// Ends it, once or several times: before libyang lets go of a module.
void compile_teller_stop(compile_teller *teller);
