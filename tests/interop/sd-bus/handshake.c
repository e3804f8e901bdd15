#define _GNU_SOURCE
#include "handshake.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define BUS "org.freedesktop.DBus"
#define NAMES "org.morva.JavaMW.Applist"

enum { OWNED = 1, OWNED_BY_ANOTHER = 3 };
enum { REPEAT_PERIOD = 100000, FIRST_PERIOD = 1000000, LONGEST_PERIOD = 32 * FIRST_PERIOD }; // µs

typedef struct {
    char* name;
    sd_bus_slot *watch, *check;
} Host;

static sd_bus* bus;
static sd_event* event;
static Host** hosts; // the bound host, then the others that are bound to a partner
static size_t host_count;
static bool is_ready, has_asked;
static const char* step; // the latest announcement
static sd_bus_slot* announcement;
static sd_event_source *repeat_timer, *syn_timer;
static uint64_t syn_period;

static void announce(const char* next_step);
static void start_syn_timer(void);
static int on_checked(sd_bus_message* reply, void* host, sd_bus_error* error);
static int on_release(sd_bus_message* signal, void* data, sd_bus_error* error);

bool is_host(const char* sender) {
    return host_count > 0 && strcmp(sender, hosts[0]->name) == 0;
}

const char* ready_host(void) {
    return is_ready ? hosts[0]->name : NULL;
}

void on_host_request(void) {
    has_asked = true;
    syn_timer = sd_event_source_disable_unref(syn_timer);
}

static void start_timer(sd_event_source** timer, uint64_t period, sd_event_time_handler_t handler) {
    sd_event_source_disable_unref(*timer);
    sd_event_add_time_relative(event, timer, CLOCK_MONOTONIC, period, 1, handler, NULL);
}

static void become_ready(void) {
    is_ready = true;
    has_asked = false;
    start_syn_timer();
    printf("connected with %s\n", hosts[0]->name);
    on_ready();
}

// The announcement under way has no further effect.
static void cancel(void) {
    announcement = sd_bus_slot_unref(announcement);
    repeat_timer = sd_event_source_disable_unref(repeat_timer);
}

static int announce_again(sd_event_source* timer, uint64_t now, void* data) {
    announce(step);
    return 0;
}

static int on_announced(sd_bus_message* reply, void* data, sd_bus_error* error) {
    uint32_t result = 0; // also of an error
    sd_bus_message_read(reply, "u", &result);
    if (result == OWNED_BY_ANOTHER) {
        start_timer(&repeat_timer, REPEAT_PERIOD, announce_again);
        return 0;
    }
    cancel();
    if (result != OWNED) {
        fprintf(stderr, "sd-bus partner: the bus refuses %s%s\n", NAMES, step);
        return 0;
    }
    printf("-> %s\n", step);
    if (strcmp(step, "_SERVICE_ACK") == 0)
        become_ready();
    return 0;
}

static void announce(const char* next_step) {
    char name[64];
    cancel();
    step = next_step;
    snprintf(name, sizeof name, "%s%s", NAMES, step);
    sd_bus_request_name_async(bus, &announcement, name, 0, on_announced, NULL);
    sd_bus_release_name_async(bus, NULL, name, NULL, NULL);
}

static int repeat_syn(sd_event_source* timer, uint64_t now, void* data) {
    if (!announcement && !(host_count && has_asked))
        announce("_SERVICE_SYN");
    if (syn_period < LONGEST_PERIOD)
        syn_period *= 2;
    start_timer(&syn_timer, syn_period, repeat_syn);
    return 0;
}

static void start_syn_timer(void) {
    syn_period = FIRST_PERIOD;
    start_timer(&syn_timer, syn_period, repeat_syn);
}

static sd_bus_slot* watch(const char* name) {
    char rule[512];
    sd_bus_slot* slot = NULL;
    snprintf(rule, sizeof rule,
             "type='signal',sender='%s',interface='%s',member='NameOwnerChanged',arg0='%s'", BUS,
             BUS, name);
    sd_bus_add_match_async(bus, &slot, rule, on_release, NULL, NULL);
    return slot;
}

static void remember(const char* name) {
    Host* host = calloc(1, sizeof *host);
    hosts = realloc(hosts, (host_count + 1) * sizeof *hosts);
    hosts[host_count++] = host;
    host->name = strdup(name);
    host->watch = watch(name);
    // The process may have ended before the match rule.
    sd_bus_call_method_async(bus, &host->check, BUS, "/org/freedesktop/DBus", BUS, "NameHasOwner",
                             on_checked, host, "s", name);
}

static void forget(const char* name) {
    for (size_t i = 0; i < host_count; ++i)
        if (strcmp(hosts[i]->name, name) == 0) {
            Host* host = hosts[i];
            memmove(hosts + i, hosts + i + 1, (--host_count - i) * sizeof *hosts);
            sd_bus_slot_unref(host->watch);
            sd_bus_slot_unref(host->check);
            free(host->name);
            free(host);
        }
}

static void on_bound(void) {
    is_ready = has_asked = false;
    start_syn_timer();
}

static void on_end(const char* name) {
    bool is_bound = is_host(name);
    if (is_bound)
        printf("lost the host %s\n", name);
    forget(name);
    if (is_bound && host_count > 0) {
        Host* last = hosts[host_count - 1];
        memmove(hosts + 1, hosts, (host_count - 1) * sizeof *hosts);
        hosts[0] = last;
        on_bound();
        announce("_SERVICE_ACK");
    } else if (is_bound) {
        on_bound();
        announce("_SERVICE_SYN");
    }
}

static int on_checked(sd_bus_message* reply, void* host, sd_bus_error* error) {
    int has_owner = true;
    if (sd_bus_message_read(reply, "b", &has_owner) >= 0 && !has_owner)
        on_end(((Host*)host)->name);
    return 0;
}

static int on_release(sd_bus_message* signal, void* data, sd_bus_error* error) {
    const char *name, *owner, *next;
    if (sd_bus_message_read(signal, "sss", &name, &owner, &next) < 0 || *next)
        return 0;
    bool is_syn = strcmp(name, NAMES "_CLIENT_SYN") == 0;
    if (*name == ':') {
        on_end(name);
    } else if (host_count > 0 && !is_host(owner)) {
        forget(owner);
        if (!is_syn) // a host that starts is not bound
            remember(owner);
    } else {
        if (is_syn || host_count == 0)
            on_bound();
        if (host_count == 0)
            remember(owner);
        if (is_syn) {
            announce("_SERVICE_SYN_ACK");
        } else if (strcmp(name, NAMES "_CLIENT_SYN_ACK") == 0) {
            announce("_SERVICE_ACK");
        } else {
            cancel();
            become_ready();
        }
    }
    return 0;
}

void start_handshake(sd_bus* connection, sd_event* loop) {
    bus = connection;
    event = loop;
    watch(NAMES "_CLIENT_SYN");
    watch(NAMES "_CLIENT_SYN_ACK");
    watch(NAMES "_CLIENT_ACK");
    announce("_SERVICE_SYN");
    start_syn_timer();
}
