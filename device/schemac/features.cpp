#include "device/schemac/features.h"

#include <algorithm>

namespace
{

bool is_on(const lysp_feature *feature)
{
    return (feature->flags & LYS_FENABLED) != 0;
}

std::vector<lysp_feature *> all_features(const lys_module *module)
{
    std::vector<lysp_feature *> features;
    uint32_t submodule = 0;
    lysp_feature *feature = nullptr;
    while (module->parsed != nullptr &&
           (feature = lysp_feature_next(feature, module->parsed, &submodule)) != nullptr)
        features.push_back(feature);
    return features;
}

std::vector<lysp_feature *> all_features_in(const ly_ctx *context)
{
    std::vector<lysp_feature *> features;
    uint32_t position = 0;
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position)) {
        const std::vector<lysp_feature *> more = all_features(module);
        features.insert(features.end(), more.begin(), more.end());
    }
    return features;
}

// Whether the conditions of the feature itself hold.
bool may_be_on(const lysp_feature *feature)
{
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(feature->iffeatures_c); i++) {
        if (lysc_iffeature_value(&feature->iffeatures_c[i]) != LY_SUCCESS)
            return false;
    }
    return true;
}

} // namespace

std::vector<std::string> features_of(const lys_module *module, bool wants_on)
{
    std::vector<std::string> names;
    for (const lysp_feature *feature : all_features(module)) {
        if (is_on(feature) == wants_on)
            names.emplace_back(feature->name);
    }
    return names;
}

std::string features_missing(const lys_module *module, const std::vector<std::string> &features)
{
    for (const std::string &feature : features) {
        if (feature == "*" || lys_feature_value(module, feature.c_str()) != LY_ENOTFOUND)
            continue;
        std::string known;
        for (const lysp_feature *one : all_features(module))
            known.append(known.empty() ? "" : ", ").append(one->name);
        return "no feature " + feature + (known.empty() ? "; it has none" : "; it has " + known);
    }
    return "";
}

void features_enable_all(const ly_ctx *context)
{
    const std::vector<lysp_feature *> features = all_features_in(context);
    for (lysp_feature *feature : features)
        feature->flags |= LYS_FENABLED;
    // Each round turns at least one off, so there is a last round.
    for (bool is_settled = false; !is_settled;) {
        is_settled = true;
        for (lysp_feature *feature : features) {
            if (is_on(feature) && !may_be_on(feature)) {
                feature->flags &= static_cast<uint16_t>(~LYS_FENABLED);
                is_settled = false;
            }
        }
    }
}

bool features_any_off(const ly_ctx *context)
{
    const std::vector<lysp_feature *> features = all_features_in(context);
    return !std::all_of(features.begin(), features.end(), is_on);
}
