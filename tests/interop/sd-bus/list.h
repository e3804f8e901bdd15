// The list of a partner, and its selection. An item is the bytes of its record: name LF id LF, in
// any character set.
#ifndef APPLIST_INTEROP_LIST_H
#define APPLIST_INTEROP_LIST_H

#include <stdbool.h>
#include <stddef.h>

typedef struct {
    char* bytes;
    size_t size;
} Record;

extern Record *items, selection; // no selection: null bytes
extern size_t item_count;
extern bool awaits_list; // the first whole list contains all items before it

Record id_of(Record record);
int compare_ids(const void* record, const void* other);
Record* find(Record record); // the first item with the same id

void clear(void);
void set_selection(const Record* record);
void append(Record record);
void add(const Record* added, size_t count);
void replace(Record record, const Record* other);

#endif
