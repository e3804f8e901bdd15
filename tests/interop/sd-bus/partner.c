// A partner on sd-bus, the D-Bus library of systemd: all duties of the partner guide.
// Commands on standard input, a terminal or a pipe: list, quit, and select, click, change or remove
// with the id of an item. The partner exits at the end of its input or of the bus.
#define _GNU_SOURCE
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "handshake.h"
#include "list.h"

#define PATH "/org/morva/javamw/CommunicationChannel/Applist"
#define INTERFACE "org.morva.javamw.DbusCommunication"

enum { SELECT = 2000, QUERY = 2001, CLEAR = 2003, ADD = 2004 };
enum { APPEND = 2005, CLICK = 2006, REMOVE = 2007, MODIFY = 2008 };
enum { CHANGE_EVENT = 1, SELECTION_EVENT = 2, CLICKED_EVENT = 3, CREATED_EVENT = 4 };

static sd_event* event;
static sd_bus* bus;

static void notify(unsigned char id) {
    const unsigned char bytes[4] = {id}; // the least significant byte first
    sd_bus_message* signal = NULL;
    if (ready_host() != NULL &&
        sd_bus_message_new_signal(bus, &signal, PATH, INTERFACE, "SendSignal") >= 0 &&
        sd_bus_message_set_destination(signal, ready_host()) >= 0 &&
        sd_bus_message_append_array(signal, 'y', bytes, sizeof bytes) >= 0)
        sd_bus_send(bus, signal, NULL);
    sd_bus_message_unref(signal);
}

void on_ready(void) {
    clear();
    awaits_list = true;
    notify(CREATED_EVENT);
}

static void print_item(const char* before, Record record, const char* middle, const char* after) {
    Record id = id_of(record);
    fputs(before, stdout);
    fwrite(record.bytes, 1, record.size - id.size - 1, stdout);
    fputs(middle, stdout);
    fwrite(id.bytes, 1, id.size - 1, stdout);
    puts(after);
}

static void on_request(int32_t kind, const char* bytes, size_t size) {
    Record* records = NULL;
    size_t count = 0;
    const char *end = bytes + size, *line, *next;
    for (; (line = memchr(bytes, '\n', (size_t)(end - bytes))) &&
           (next = memchr(line + 1, '\n', (size_t)(end - line - 1)));
         bytes = next + 1) {
        records = realloc(records, (count + 1) * sizeof *records);
        records[count++] = (Record){(char*)bytes, (size_t)(next + 1 - bytes)};
    }
    printf("<- %d\n", kind);
    for (size_t i = 0; i < count; ++i)
        print_item("     ", records[i], " (", ")");
    if (kind == CLEAR)
        clear();
    if (count == 0)
        return;
    Record* known = find(records[0]);
    switch (kind) {
    case SELECT:
        set_selection(known ? known : &records[0]);
        break;
    case ADD:
        add(records, count);
        break;
    case APPEND:
        append(records[0]);
        break;
    case CLICK:
        notify(CLICKED_EVENT);
        break;
    case REMOVE:
        replace(records[0], NULL);
        break;
    case MODIFY:
        if (count > 1)
            replace(records[0], &records[1]);
    }
    printf("   my list has %zu items now\n", item_count);
    free(records);
}

static int on_send(sd_bus_message* call, void* data, sd_bus_error* error) {
    const void* bytes = NULL;
    size_t size = 0;
    int result = sd_bus_message_read_array(call, 'y', &bytes, &size);
    if (result < 0)
        return result;
    int32_t kind = 0;
    if (size >= 4) {
        const unsigned char* id = (const unsigned char*)bytes + (size -= 4);
        kind = id[0] | id[1] << 8 | id[2] << 16 | (int32_t)((uint32_t)id[3] << 24);
    }
    bool is_of_host = is_host(sd_bus_message_get_sender(call));
    Record response = is_of_host && kind == QUERY ? selection : (Record){0};
    sd_bus_message* reply = NULL;
    if (sd_bus_message_new_method_return(call, &reply) >= 0 &&
        sd_bus_message_append_array(reply, 'y', response.bytes, response.size) >= 0)
        sd_bus_send(bus, reply, NULL);
    sd_bus_message_unref(reply);
    if (is_of_host) {
        on_host_request();
        on_request(kind, bytes, size);
    }
    return 1;
}

static void list(void) {
    printf("list: %zu items\n", item_count);
    for (size_t i = 0; i < item_count; ++i) {
        bool is_selected = selection.bytes && compare_ids(&selection, &items[i]) == 0;
        printf("  %c %zu", is_selected ? '*' : ' ', i + 1);
        print_item("  ", items[i], "  ", "");
    }
    if (selection.bytes)
        print_item("selection: ", selection, " (", ")");
    else
        puts("selection: none");
}

// The line has the form of a record: the command LF the id of an item LF.
static void on_command(Record line) {
    Record* item = memchr(line.bytes, '\n', line.size - 1) ? find(line) : NULL;
    if (strncmp(line.bytes, "list\n", 5) == 0) {
        list();
    } else if (strncmp(line.bytes, "quit\n", 5) == 0) {
        sd_event_exit(event, 0);
    } else if (strncmp(line.bytes, "change\n", 7) == 0) {
        notify(CHANGE_EVENT);
    } else if (item && strncmp(line.bytes, "select\n", 7) == 0) {
        set_selection(item);
        notify(SELECTION_EVENT);
    } else if (item && strncmp(line.bytes, "click\n", 6) == 0) {
        notify(CLICKED_EVENT);
    } else if (item && strncmp(line.bytes, "remove\n", 7) == 0) {
        replace(line, NULL);
        notify(CHANGE_EVENT);
    } else {
        fputs("sd-bus partner: no such command or item\n", stderr);
    }
}

static int on_input(sd_event_source* source, int input, uint32_t events, void* data) {
    static char buffer[65536];
    static size_t size;
    ssize_t count = read(input, buffer + size, sizeof buffer - size);
    if (count <= 0)
        return sd_event_exit(event, 0);
    size += (size_t)count;
    for (char* end; (end = memchr(buffer, '\n', size));) {
        Record line = {buffer, (size_t)(++end - buffer)};
        char* space = memchr(buffer, ' ', line.size);
        if (space)
            *space = '\n';
        on_command(line);
        memmove(buffer, end, size -= line.size);
    }
    return 0;
}

static const sd_bus_vtable VTABLE[] = {
    SD_BUS_VTABLE_START(0),
    // Without this flag, sd-bus refuses the calls of other users.
    SD_BUS_METHOD("Send", "ay", "ay", on_send, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

int main(void) {
    setvbuf(stdout, NULL, _IOLBF, 0);
    if (sd_event_default(&event) < 0 || sd_bus_open_system(&bus) < 0 ||
        sd_bus_add_object_vtable(bus, NULL, PATH, INTERFACE, VTABLE, NULL) < 0 ||
        sd_bus_attach_event(bus, event, 0) < 0 || sd_bus_set_exit_on_disconnect(bus, true) < 0 ||
        sd_event_add_io(event, NULL, STDIN_FILENO, EPOLLIN, on_input, NULL) < 0) {
        fputs("sd-bus partner: no bus, or no terminal or pipe as standard input\n", stderr);
        return EXIT_FAILURE;
    }
    start_handshake(bus, event);
    int status = sd_event_loop(event);
    if (status != 0)
        fputs("sd-bus partner: the bus is gone\n", stderr);
    sd_bus_flush_close_unref(bus);
    return status == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
