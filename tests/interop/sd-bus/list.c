#define _GNU_SOURCE
#include "list.h"

#include <search.h>
#include <stdlib.h>
#include <string.h>

Record *items, selection;
size_t item_count;
bool awaits_list;

Record id_of(Record record) {
    char* id = (char*)memchr(record.bytes, '\n', record.size) + 1;
    return (Record){id, record.size - (size_t)(id - record.bytes)};
}

int compare_ids(const void* a, const void* b) {
    Record one = id_of(*(const Record*)a), other = id_of(*(const Record*)b);
    size_t size = one.size < other.size ? one.size : other.size;
    int order = memcmp(one.bytes, other.bytes, size);
    return order ? order : (one.size > other.size) - (one.size < other.size);
}

static Record copy(Record record) {
    return (Record){memcpy(malloc(record.size), record.bytes, record.size), record.size};
}

Record* find(Record record) {
    return lfind(&record, items, &item_count, sizeof *items, compare_ids);
}

void set_selection(const Record* record) {
    Record next = record ? copy(*record) : (Record){0};
    free(selection.bytes);
    selection = next;
}

void append(Record record) {
    items = realloc(items, (item_count + 1) * sizeof *items);
    items[item_count++] = copy(record);
}

void clear(void) {
    while (item_count)
        free(items[--item_count].bytes);
    set_selection(NULL);
}

// Removes the first item with the id of a record, or puts another item in its place.
void replace(Record record, const Record* other) {
    Record* item = find(record);
    if (!item)
        return;
    if (selection.bytes && compare_ids(&selection, item) == 0)
        set_selection(other);
    free(item->bytes);
    if (other)
        *item = copy(*other);
    else
        memmove(item, item + 1, (size_t)(items + --item_count - item) * sizeof *items);
}

static void do_nothing(void* ignored) {
    (void)ignored;
}

// Appends the records with a new id. The first whole list contains all earlier items.
void add(const Record* added, size_t count) {
    void* ids = NULL; // a tree
    for (size_t i = 0; i < count; ++i)
        tsearch(&added[i], &ids, compare_ids);
    bool is_whole = awaits_list;
    for (size_t i = 0; i < item_count; ++i)
        is_whole = is_whole && tfind(&items[i], &ids, compare_ids);
    tdestroy(ids, do_nothing);
    if (is_whole) {
        clear();
        awaits_list = false;
    }
    items = realloc(items, (item_count + count) * sizeof *items);
    ids = NULL;
    for (size_t i = 0; i < item_count; ++i)
        tsearch(&items[i], &ids, compare_ids);
    for (size_t i = 0; i < count; ++i)
        if (*(const Record**)tsearch(&added[i], &ids, compare_ids) == &added[i])
            items[item_count++] = copy(added[i]);
    tdestroy(ids, do_nothing);
}
