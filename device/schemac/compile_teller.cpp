// libyang gives each module a compiled one when it begins with it. A thread looks at
// these pointers now and then, and at nothing that they lead to.
#include "device/schemac/compile_teller.h"

#include <algorithm>
#include <time.h>

namespace
{

constexpr long interval_ns = 200000000;

bool is_begun(const lys_module *module)
{
    return __atomic_load_n(&module->compiled, __ATOMIC_RELAXED) != nullptr;
}

void tell(compile_teller *teller)
{
    std::vector<const lys_module *> *waiting = &teller->waiting;
    const auto begun = std::partition(waiting->begin(), waiting->end(),
                                      [](const lys_module *one) { return !is_begun(one); });
    if (begun == waiting->end())
        return;
    const std::string last = (*begun)->name;
    waiting->erase(begun, waiting->end());
    teller->told(last, teller->count - waiting->size(), teller->count);
}

void *run(void *given)
{
    auto *teller = static_cast<compile_teller *>(given);
    for (;;) {
        timespec until;
        clock_gettime(CLOCK_REALTIME, &until);
        until.tv_nsec += interval_ns;
        until.tv_sec += until.tv_nsec / 1000000000;
        until.tv_nsec %= 1000000000;
        if (sem_timedwait(&teller->is_over, &until) == 0)
            return nullptr;
        tell(teller);
    }
}

} // namespace

void compile_teller_start(compile_teller *teller, const ly_ctx *context, compile_told told)
{
    teller->told = told;
    teller->waiting.clear();
    uint32_t position = 0;
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position)) {
        if (module->implemented && module->compiled == nullptr)
            teller->waiting.push_back(module);
    }
    teller->count = teller->waiting.size();
    sem_init(&teller->is_over, 0, 0);
    teller->is_running = pthread_create(&teller->thread, nullptr, run, teller) == 0;
}

void compile_teller_stop(compile_teller *teller)
{
    if (!teller->is_running)
        return;
    sem_post(&teller->is_over);
    pthread_join(teller->thread, nullptr);
    teller->is_running = false;
}
