// The resources of a process: memory, threads, descriptors, and its match rules on the bus.
#pragma once

#include <string>

#include "Owners.h"
#include "PrivateBus.h"

inline namespace applist_test {

struct Resources {
    long residentKb = 0;
    long long heapBytes = 0; ///< in use by the C library; 0 under another allocator
    long threads = 0;
    long descriptors = 0;
    long matchRules = 0; ///< -1 on a bus without statistics

    static long CountDescriptors();
};

/** Reads the resources of this process. Its own bus connection exists from the start. */
class ResourceMeter {
public:
    explicit ResourceMeter(const PrivateBus& bus);

    Resources Read() const;

private:
    long CountMatchRules() const;

    const ConnectionOwner m_connection;
};

} // namespace applist_test
