// A program that writes one line of each priority, and prints whether it runs with raised
// privileges.
#include <cstdio>

#include <sys/auxv.h>

#include <common/Log.h>

int main() {
    APPLIST_LOG_DEBUG("Sending sync message with %d bytes", 41);
    APPLIST_LOG_INFO("Unregistered callbackMessageObject");
    APPLIST_LOG_ERROR("Connection not set.");
    std::puts(getauxval(AT_SECURE) != 0 ? "raised privileges" : "ordinary privileges");
    return 0;
}
