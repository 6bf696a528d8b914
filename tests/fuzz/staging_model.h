// Staged changes as a tree of lists that is searched from its root each time.
//
// Paths and values are masked, as the shell stages them. What a path is in the
// schema is told by whoever owns the model.
#pragma once

#include <algorithm>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

enum staging_kind { staging_unknown, staging_leaf_list, staging_other };

class staging_model
{
  public:
    static constexpr unsigned structural = 0;
    static constexpr unsigned set = 1;
    static constexpr unsigned removed = 2;

    struct node {
        unsigned operation;
        std::string path;
        std::optional<std::string> value;
        unsigned order; // among the changes
        std::list<node> children;
        std::list<node> values; // of a leaf-list, all but its first
    };

    // Whether there is anything, and the root of it.
    bool is_empty = true;
    node root = {structural, "/", {}, 0, {}, {}};

    // False: refused, and nothing has changed.
    bool stage(const std::string &path, const std::optional<std::string> &value, unsigned operation,
               staging_kind kind)
    {
        node changed = {operation, path, value, changes++, {}, {}};
        node *deepest = find_deepest(path);
        bool is_taken = true;
        if (deepest->path.size() < path.size())
            add_below(deepest, changed);
        else if (kind == staging_unknown)
            is_taken = false;
        else if (kind == staging_leaf_list)
            is_taken = merge_leaf_list(deepest, changed);
        else
            merge(deepest, changed);
        is_empty = root.children.empty();
        return is_taken;
    }

    node *find_deepest(const std::string &path)
    {
        node *at = &root;
        for (node *next = at; next != nullptr;) {
            at = next;
            next = nullptr;
            for (node &child : at->children) {
                if (next == nullptr && begins_with(path + "/", child.path + "/"))
                    next = &child;
            }
        }
        return at;
    }

    // The changes in the order in which they were made, a line each.
    std::string all_changes() const
    {
        std::vector<const node *> found;
        collect(root, &found);
        std::sort(found.begin(), found.end(),
                  [](const node *left, const node *right) { return left->order < right->order; });
        std::string text;
        for (const node *change : found) {
            text += std::to_string(change->operation) + " " + change->path +
                    (change->value ? " " + *change->value : "") + "\n";
        }
        return text;
    }

    static bool begins_with(const std::string &text, const std::string &beginning)
    {
        return text.compare(0, beginning.size(), beginning) == 0;
    }

  private:
    unsigned changes = 0;

    static void add_below(node *above, const node &added)
    {
        const size_t from = above->path == "/" ? 1 : above->path.size() + 1;
        for (size_t slash = added.path.find('/', from); slash != std::string::npos;
             slash = added.path.find('/', slash + 1)) {
            above->children.push_front({structural, added.path.substr(0, slash), {}, 0, {}, {}});
            above = &above->children.front();
        }
        above->children.push_front(added);
    }

    static bool merge_leaf_list(node *present, const node &changed)
    {
        if (!changed.value && changed.operation == set)
            return false;
        if (!changed.value)
            present->values.clear();
        for (node &entry : present->values) {
            if (entry.value && entry.value == changed.value) {
                entry.operation = changed.operation;
                return true;
            }
        }
        present->values.push_back(changed);
        return true;
    }

    void merge(node *present, const node &changed)
    {
        if (changed.operation == removed && present->operation == structural) {
            const std::string parent = changed.path.substr(0, changed.path.rfind('/'));
            node *above = &root;
            while (above->path != (parent.empty() ? "/" : parent)) {
                for (node &child : above->children) {
                    if (begins_with(changed.path + "/", child.path + "/")) {
                        above = &child;
                        break;
                    }
                }
            }
            above->children.remove_if([&](const node &child) { return &child == present; });
            above->children.push_back(changed);
            return;
        }
        present->order = present->operation == structural ? changed.order : present->order;
        present->operation = changed.operation;
        present->value = changed.operation == set ? changed.value : std::nullopt;
    }

    static void collect(const node &from, std::vector<const node *> *found)
    {
        if (from.operation != structural)
            found->push_back(&from);
        for (const node &entry : from.values)
            collect(entry, found);
        for (const node &child : from.children)
            collect(child, found);
    }
};
