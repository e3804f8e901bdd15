// The id of each error line, the same in every version: MESSAGE_ID of the journal.
// data/make-catalog makes the journal's explanations from this table and docs/troubleshooting.md.
#ifndef APPLIST_COMMON_ERRORIDS_H
#define APPLIST_COMMON_ERRORIDS_H

// Arrays instead of pointers, which would make a page of each process dirty.
struct ErrorId {
    char id[33];
    char format[64];
};

// "systemd-id128 new" makes the id of a new line.
constexpr ErrorId ERROR_IDS[] = {
    {"c794cf5ab84c40668b8b0a12dd2bb430", "Environment variable %s has the unknown value '%s'"},
    {"fdb91c17f9da4147b56e0c250d94bd31", "Error while connecting to system bus [%d] %s"},
    {"9fe4d006ceed4761baa206bf404fb4ea", "Error while registering object [%d] %s"},
    {"054b7a0b10654939802bba22bfd4ea09", "Error during request name call [%d] %s"},
    {"9b6990b9554f448383a761e8e5dfccce", "Cannot get response for name request"},
    {"4d970dbf1e744e6499c711a98c1a7c9a", "Cannot own name due to return code = %d"},
    {"bf87026cf06241d09a1c277e75821986", "Release failed due to empty response."},
    {"3c2f28e3f4434ab98a26b10bb45e2287", "Empty user_data or connection not valid."},
    {"2593b22e507544b58744f8ff53f15dac", "%s with parameters of type %s"},
    {"d376ffce6aa4461b910ad39e845cacd9", "'%s' is no bus name of a partner"},
    {"f4cbb224a9f6406c8a188252584fa8f2", "Error while registering proxy  %s"},
    {"ac8d366aa77b4f7881b09c6c2967a3b2", "Error while sending message [%d] %s"},
    {"ffef2621cba74fecaba5fc318a8a2930", "Reply of type %s dropped"},
    {"91ae0d2ce7dc40a5b48e639c6c44a9bf", " - AppListItem is NULL, left out"},
    {"3f82aaa427f84dd79ca1125648b6a591", "Connection not set."},
    {"00e6e7f8b2a547a99da6db45911dcb32", "SignalSubscription not ready"},
    {"bc7d8364531c45d58b1f8b4783fb843d", "Attempt to send notification to not connected partner!"},
    {"b23bd0fcfb4743b19d5a44d3397d9de7", "Error while sending signal [%d] %s"},
    {"38d43e35912e496896096a5ddb8812c5", "Data corrupted. Does not contain message id."},
    {"3663a4b8e00442d79b3bb6a8c74cc7ea", "Message of type %s dropped"},
    {"0615fdce5ddf4906be3fa3050b8aa283", "Notification of type %s dropped"},
    {"ac6deb2add4b4403976616521857a327", "Exception in %s: %s"},
    {"55e709f335c54ab7ba1f1d2409ab064b", "Exception in %s"},
    {"5e42a72133384d818f0b4179d917d972", "Client cannot reach the bus, trying again [%d] %s"},
    {"8c0f4b7d6f0a4a9e9d3f5b1f0c5c2e17",
     "Client waits, the process still holds the closed connection"},
    {"750810b238104a1b8f79e3ba8adb517f", "Client cannot start its thread %s: %s"},
    {"ad5635ec8d1e480b912cdbfc26347098", "Client has no descriptor for its events: %s"},
    {"d67bf4ee53964bf4ad1ea5916dfa880f", "An event handler still runs after the end of the client"},
};

#endif
