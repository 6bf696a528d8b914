// Layout: the entries fill each column from top to bottom. The listing takes
// the largest number of columns whose widths fit the line. Each number of
// columns is tried by itself, the largest first, so no more memory is needed
// than the widths of one layout.
#include "base/columns.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/args.h"
#include "base/session.h"
#include "base/text.h"
#include "bounded.h"
#include "terminal_text.h"

namespace
{

constexpr size_t first_capacity = 100;
constexpr unsigned default_width = 80;
constexpr unsigned max_width = 10000;
constexpr unsigned min_column_width = 3;
constexpr unsigned column_gap = 2;
constexpr unsigned merged_class = 11;

const char left_marker[] = "\033[";
const char right_marker[] = "m";
const char reset_code[] = "0";
const char *const class_codes[merged_class] = {
    "0", "01;34", "01;36", "33", "01;35", "01;33", "01;33", "", "", "01;32", "01;35",
};

// One number of columns and the widths that the entries need in it.
struct layout {
    unsigned columns;
    size_t rows;
    size_t *width; // columns of them
};

// Turns a masked name into what is shown of it; returns the length of that.
size_t show_name(char *name)
{
    args_restore(name);
    const size_t shown = terminal_text_clean(name, strlen(name));
    name[shown] = '\0';
    return shown;
}

// What is shown of a name, in its colour.
heap_text coloured_name(const char *name, unsigned color_class)
{
    heap_text text = text_copy(name);
    if (!text)
        return nullptr;
    show_name(text.get());
    const char *code = class_codes[color_class];
    if (*code == '\0')
        return text;
    return text_concat(
        {left_marker, code, right_marker, text.get(), left_marker, reset_code, right_marker});
}

// Grows the entry's name by a text; 0 or -1.
int append_name(listing_entry *entry, std::string_view text)
{
    size_t needed = 0;
    if (!size_add(entry->length, text.size(), &needed) || !size_add(needed, 1, &needed))
        return -1;
    if (entry->name == nullptr || needed > entry->capacity) {
        size_t capacity = 0;
        if (!size_add(needed, needed, &capacity))
            return -1;
        char *name = static_cast<char *>(realloc(entry->name, capacity));
        if (name == nullptr)
            return -1;
        entry->name = name;
        entry->capacity = capacity;
    }
    memcpy_s(entry->name + entry->length, entry->capacity - entry->length, text.data(),
             text.size());
    entry->length += text.size();
    entry->name[entry->length] = '\0';
    return 0;
}

int grow_listing(listing_state *listing)
{
    if (listing->count < listing->capacity)
        return 0;
    const size_t capacity = listing->capacity == 0 ? first_capacity : listing->capacity * 2;
    if (capacity > SIZE_MAX / sizeof(listing_entry) || capacity < listing->capacity)
        return -1;
    void *entries = realloc(listing->entries, capacity * sizeof(listing_entry));
    if (entries == nullptr)
        return -1;
    listing->entries = static_cast<listing_entry *>(entries);
    listing->capacity = capacity;
    return 0;
}

listing_entry *add_entry(const char *name, unsigned color_class)
{
    listing_state *listing = &session.listing;
    if (name == nullptr || color_class >= merged_class || grow_listing(listing) != 0)
        return nullptr;
    listing_entry entry = {nullptr, 0, 0, color_class};
    if (append_name(&entry, name) != 0)
        return nullptr;
    listing->entries[listing->count] = entry;
    return &listing->entries[listing->count++];
}

int compare_entries(const void *a, const void *b)
{
    return strcmp(static_cast<const listing_entry *>(a)->name,
                  static_cast<const listing_entry *>(b)->name);
}

// Fills in the widths that the entries need; false when the line is too long.
bool try_layout(const listing_state *listing, layout *plan)
{
    for (unsigned column = 0; column < plan->columns; column++)
        plan->width[column] = min_column_width;
    size_t line = static_cast<size_t>(plan->columns) * min_column_width;
    for (size_t i = 0; i < listing->count; i++) {
        const size_t column = i / plan->rows;
        const size_t gap = column == plan->columns - 1 ? 0 : column_gap;
        const size_t needed = listing->entries[i].length + gap;
        if (needed <= plan->width[column])
            continue;
        line += needed - plan->width[column];
        plan->width[column] = needed;
        if (line >= listing->width)
            return false;
    }
    return true;
}

void choose_layout(const listing_state *listing, layout *plan)
{
    for (; plan->columns > 1; plan->columns--) {
        plan->rows = (listing->count + plan->columns - 1) / plan->columns;
        if (try_layout(listing, plan))
            return;
    }
    plan->rows = listing->count;
}

void print_entry(listing_entry *entry)
{
    if (entry->color_class == merged_class) {
        fputs(entry->name, stdout);
        return;
    }
    entry->length = show_name(entry->name);
    printf("%s%s%s%s%s%s%s", left_marker, class_codes[entry->color_class], right_marker,
           entry->name, left_marker, reset_code, right_marker);
}

void print_row(const listing_state *listing, const layout *plan, size_t row)
{
    for (size_t i = row, column = 0; i < listing->count; i += plan->rows, column++) {
        listing_entry *entry = &listing->entries[i];
        print_entry(entry);
        if (plan->rows >= listing->count - i)
            break;
        for (size_t at = entry->length; at < plan->width[column]; at++)
            putchar(' ');
    }
    putchar('\n');
}

void free_entries(listing_state *listing)
{
    for (size_t i = 0; i < listing->count; i++)
        free(listing->entries[i].name);
    free(listing->entries);
    listing->entries = nullptr;
    listing->count = 0;
    listing->capacity = 0;
}

} // namespace

unsigned listing_width(const char *columns)
{
    if (columns == nullptr || *columns == '\0')
        return default_width;
    errno = 0;
    const long width = strtol(columns, nullptr, 0);
    if (errno != 0 || width <= 0)
        return default_width;
    return width > static_cast<long>(max_width) ? max_width : static_cast<unsigned>(width);
}

int listing_start()
{
    listing_state *listing = &session.listing;
    if (listing->width == 0) {
        listing->width = listing_width(getenv("COLUMNS"));
        listing->max_columns = listing->width / min_column_width;
        if (listing->max_columns == 0)
            listing->max_columns = 1;
    }
    listing_state fresh = {listing->width, listing->max_columns, nullptr, 0, 0};
    if (grow_listing(&fresh) != 0)
        return -1;
    free_entries(listing);
    *listing = fresh;
    return 0;
}

int listing_add(const char *name, unsigned color_class)
{
    return add_entry(name, color_class) != nullptr ? 0 : -1;
}

listing_entry *listing_merge(listing_entry *previous, const char *name, unsigned color_class)
{
    if (previous == nullptr) {
        listing_entry *entry = add_entry(name, color_class);
        if (entry != nullptr)
            entry->length = show_name(entry->name);
        return entry;
    }
    if (name == nullptr || color_class >= merged_class)
        return nullptr;
    const heap_text text = coloured_name(name, color_class);
    if (!text || append_name(previous, text.get()) != 0)
        return nullptr;
    previous->color_class = merged_class;
    return previous;
}

void listing_print()
{
    listing_state *listing = &session.listing;
    if (listing->count == 0)
        return;
    qsort(listing->entries, listing->count, sizeof(listing_entry), compare_entries);
    unsigned columns = listing->max_columns;
    if (columns > listing->count)
        columns = static_cast<unsigned>(listing->count);
    const malloc_ptr<size_t> widths(static_cast<size_t *>(calloc(columns, sizeof(size_t))));
    if (!widths)
        return;
    layout plan = {columns, 0, widths.get()};
    choose_layout(listing, &plan);
    for (size_t row = 0; row < plan.rows; row++)
        print_row(listing, &plan, row);
}

void listing_free()
{
    free_entries(&session.listing);
}
