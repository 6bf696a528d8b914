#include "browse/known_entries.h"

#include <algorithm>
#include <utility>

#include "base/growing_array.h"
#include "base/hash.h"
#include "base/session.h"
#include "base/text.h"

known_entries::known_entries()
{
    session.entries_known = this;
}

known_entries::~known_entries()
{
    session.entries_known = nullptr;
}

reply_text known_entries_ask(known_entries *known, std::string_view request)
{
    const std::string_view question = text_slice(request, request.find('>'));
    reply_text answer = std::exchange(known->answer, {});
    known->is_wanted = true;
    if (known->question && question == known->question.get())
        return answer;
    known->question = text_copy(question);
    return {};
}

void known_entries_add(known_entries *known, std::string_view name)
{
    void *grown =
        array_make_room(known->hashes.get(), known->count, &known->capacity, sizeof(uint32_t));
    if (grown == nullptr) {
        known->question = nullptr;
        return;
    }
    (void)known->hashes.release();
    known->hashes.reset(static_cast<uint32_t *>(grown));
    known->hashes.get()[known->count++] = hash_text(hash_start, name);
}

void known_entries_sort(known_entries *known)
{
    std::sort(known->hashes.get(), known->hashes.get() + known->count);
}

void known_entries_rest()
{
    known_entries *known = session.entries_known;
    if (known == nullptr)
        return;
    if (!known->is_wanted) {
        known->question = nullptr;
        known->answer = {};
        known->hashes = nullptr;
        known->count = known->capacity = 0;
    }
    known->is_wanted = false;
}

bool known_entries_lack(const known_entries &known, std::string_view name)
{
    const uint32_t *hashes = known.hashes.get();
    return known.count != 0 &&
           !std::binary_search(hashes, hashes + known.count, hash_text(hash_start, name));
}
