#include "device/schemac/notes.h"

#include <map>

#include "device/schemac/features.h"
#include "device/schemac/text_tools.h"

namespace
{

void add_value(content_hash *note, const std::string &module, const std::string &value)
{
    if (!value.empty())
        content_add_field(note, module, value);
}

} // namespace

void notes_tell(const ly_ctx *context, const hash_sink &sink)
{
    std::map<std::string, const lys_module *> modules;
    uint32_t position = 0;
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position)) {
        const lys_module **noted = &modules[module->name];
        if (*noted == nullptr || module->implemented)
            *noted = module;
    }
    content_hash revisions = {note_revisions, 0, ""};
    content_hash features_on = {note_features_on, 0, ""};
    content_hash features_off = {note_features_off, 0, ""};
    for (const auto &[name, module] : modules) {
        add_value(&revisions, name, module->revision != nullptr ? module->revision : "");
        add_value(&features_on, name, joined_text(features_of(module, true)));
        add_value(&features_off, name, joined_text(features_of(module, false)));
    }
    for (const content_hash *note : {&revisions, &features_on, &features_off}) {
        if (note->count > 0)
            sink(*note);
    }
}
