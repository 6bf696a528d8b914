#include "cmdtree/tree_index.h"

#include <stdlib.h>
#include <string.h>

#include "base/hash.h"
#include "base/text.h"

namespace
{

constexpr size_t first_bucket_count = 64;
// Growing visits every node, so it is done seldom.
constexpr size_t growth_factor = 4;

constexpr unsigned char value_mark = 0; // no path holds it

uint32_t entry_hash(std::string_view path, std::string_view value)
{
    return hash_text(hash_byte(hash_text(hash_start, path), value_mark), value);
}

void push(tree_index *index, cmd_node *node)
{
    cmd_node **bucket = &index->buckets[hash_bucket(node->index_hash, index->bucket_count)];
    node->index_next = *bucket;
    *bucket = node;
}

void grow(tree_index *index)
{
    tree_index larger = {nullptr, index->bucket_count * growth_factor, index->node_count};
    larger.buckets = static_cast<cmd_node **>(calloc(larger.bucket_count, sizeof(cmd_node *)));
    if (larger.buckets == nullptr)
        return;
    for (size_t i = 0; i < index->bucket_count; i++) {
        for (cmd_node *node = index->buckets[i]; node != nullptr;) {
            cmd_node *next = node->index_next;
            push(&larger, node);
            node = next;
        }
    }
    free(index->buckets);
    *index = larger;
}

void add(tree_index *index, cmd_node *node, uint32_t hash)
{
    if (index->node_count >= index->bucket_count)
        grow(index);
    node->index_hash = hash;
    push(index, node);
    index->node_count++;
}

cmd_node *find_node(const tree_index *index, std::string_view path, uint32_t hash)
{
    cmd_node *node = index->buckets[hash_bucket(hash, index->bucket_count)];
    while (node != nullptr &&
           (node->index_hash != hash || node->is_value_entry || path != node->path))
        node = node->index_next;
    return node;
}

} // namespace

int tree_index_prepare(tree_index *index)
{
    if (index->buckets != nullptr)
        return 0;
    index->buckets = static_cast<cmd_node **>(calloc(first_bucket_count, sizeof(cmd_node *)));
    if (index->buckets == nullptr)
        return -1;
    index->bucket_count = first_bucket_count;
    return 0;
}

void tree_index_add_node(tree_index *index, cmd_node *node)
{
    add(index, node, hash_text(hash_start, node->path));
}

void tree_index_add_entry(tree_index *index, cmd_node *entry)
{
    add(index, entry, entry_hash(entry->path, entry->value));
}

void tree_index_remove(tree_index *index, cmd_node *node)
{
    if (index->buckets == nullptr)
        return;
    cmd_node **link = &index->buckets[hash_bucket(node->index_hash, index->bucket_count)];
    while (*link != nullptr && *link != node)
        link = &(*link)->index_next;
    if (*link == nullptr)
        return;
    *link = node->index_next;
    index->node_count--;
}

cmd_node *tree_index_deepest(const tree_index *index, std::string_view path)
{
    cmd_node *deepest = nullptr;
    if (index->buckets == nullptr)
        return nullptr;
    uint32_t hash = hash_start;
    for (size_t i = 0; i <= path.size(); i++) {
        const bool ends_component = i == path.size() || path[i] == '/';
        if (ends_component && i > 0) {
            cmd_node *node = find_node(index, text_slice(path, 0, i), hash);
            if (node == nullptr)
                break; // every node's ancestors are in the tree
            deepest = node;
        }
        if (i < path.size())
            hash = hash_byte(hash, static_cast<unsigned char>(path[i]));
    }
    return deepest;
}

cmd_node *tree_index_entry(const tree_index *index, const char *path, const char *value)
{
    if (index->buckets == nullptr)
        return nullptr;
    const uint32_t hash = entry_hash(path, value);
    cmd_node *node = index->buckets[hash_bucket(hash, index->bucket_count)];
    while (node != nullptr &&
           (node->index_hash != hash || !node->is_value_entry || node->value == nullptr ||
            strcmp(node->path, path) != 0 || strcmp(node->value, value) != 0))
        node = node->index_next;
    return node;
}

void tree_index_clear(tree_index *index)
{
    free(index->buckets);
    *index = tree_index{};
}
