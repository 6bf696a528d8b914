// Places in a schema, found the long way: a map of hashes as the database holds
// them, and paths that are taken apart and put together as texts.
#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <stddef.h>
#include <string>
#include <utility>
#include <vector>

struct model_field {
    std::string name;
    int kind; // as records number them
    bool is_config;
};

class place_model
{
  public:
    std::map<std::string, std::vector<model_field>> hashes;
    std::map<std::string, std::string> modules; // name, namespace
    std::string rpc;                            // empty outside an rpc

    // The path under which a node's record is stored.
    std::optional<std::string> schema_path(const std::string &data_path, bool in_session) const
    {
        std::string path = data_path;
        if (in_session && !rpc.empty() && (path + "/").compare(0, rpc.size() + 1, rpc + "/") == 0) {
            const model_field *input = first_of_kind(rpc, kind_input);
            if (input == nullptr)
                return std::nullopt;
            path.insert(rpc.size(), "/" + input->name);
        }
        path = without_predicates(path);
        while (std::count(path.begin(), path.end(), '/') > 1 && !exists(path)) {
            std::string beginning = path;
            while (!beginning.empty() && !exists(beginning))
                beginning.erase(beginning.rfind('/'));
            const std::string rest = path.substr(beginning.size() + 1);
            const auto around = case_of(beginning, rest.substr(0, rest.find('/')));
            if (!around)
                return std::nullopt;
            path = *around + "/" + rest;
        }
        return path;
    }

    // The field of a schema path; null for none and for a module.
    const model_field *record(const std::string &schema_path) const
    {
        const size_t slash = schema_path.rfind('/');
        return slash == 0 ? nullptr
                          : field(schema_path.substr(0, slash), schema_path.substr(slash + 1));
    }

    bool exists(const std::string &schema_path) const
    {
        const size_t slash = schema_path.rfind('/');
        if (slash == 0)
            return schema_path == "/" || modules.count(before_bracket(schema_path.substr(1))) != 0;
        return record(schema_path) != nullptr;
    }

    // The names of the hash under which a list's keys are stored.
    std::optional<std::vector<std::string>> keys(const std::string &list_path) const
    {
        const auto path = schema_path(list_path, true);
        if (!path || hashes.count(*path) == 0)
            return std::nullopt;
        std::vector<std::string> names;
        for (const model_field &key : hashes.at(*path))
            names.push_back(key.name);
        return names;
    }

  private:
    static constexpr int kind_choice = 5;
    static constexpr int kind_case = 6;
    static constexpr int kind_input = 8;

    static std::string before_bracket(const std::string &name)
    {
        return name.substr(0, name.find('['));
    }

    static std::string without_predicates(std::string path)
    {
        for (size_t at = 0; (at = path.find('[', at)) != std::string::npos; at++) {
            const size_t end = path.find(']', at);
            if (end != std::string::npos)
                path.erase(at + 1, end - at - 1);
        }
        return path;
    }

    const std::vector<model_field> &fields(const std::string &hash) const
    {
        static const std::vector<model_field> none;
        const auto found = hashes.find(hash);
        return found != hashes.end() ? found->second : none;
    }

    const model_field *field(const std::string &hash, const std::string &name) const
    {
        for (const model_field &child : fields(hash)) {
            if (child.name == before_bracket(name))
                return &child;
        }
        return nullptr;
    }

    const model_field *first_of_kind(const std::string &hash, int kind) const
    {
        for (const model_field &child : fields(hash)) {
            if (child.kind == kind)
                return &child;
        }
        return nullptr;
    }

    // All choice/case below a path, in their order.
    std::vector<std::string> cases_below(const std::string &path) const
    {
        std::vector<std::string> found;
        for (const model_field &choice : fields(path)) {
            for (const model_field &branch : fields(path + "/" + choice.name)) {
                if (choice.kind == kind_choice && branch.kind == kind_case)
                    found.push_back(path + "/" + choice.name + "/" + branch.name);
            }
        }
        return found;
    }

    // The case below a path in which the name stands; one that holds the name
    // itself comes before those that hold it in a choice of their own.
    std::optional<std::string> case_of(const std::string &path, const std::string &name) const
    {
        if (path.empty())
            return std::nullopt;
        for (const std::string &around : cases_below(path)) {
            if (field(around, name) != nullptr)
                return around;
        }
        for (const std::string &around : cases_below(path)) {
            if (auto inside = case_of(around, name))
                return inside;
        }
        return std::nullopt;
    }
};
