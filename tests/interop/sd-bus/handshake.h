// The partner's half of the handshake: finds one host, and finds it again.
#ifndef APPLIST_INTEROP_HANDSHAKE_H
#define APPLIST_INTEROP_HANDSHAKE_H

#include <stdbool.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

// Watches the names of hosts, and then announces the partner.
void start_handshake(sd_bus* bus, sd_event* event);
bool is_host(const char* sender);
// Only a request proves that the host is bound to this partner.
void on_host_request(void);
// The host that accepts notifications, or null.
const char* ready_host(void);

// Of the partner: called after each handshake, also with the same host.
void on_ready(void);

#endif
