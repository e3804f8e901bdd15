// The time of the partner's last reply, in memory that the partner shares with the driver.
#ifndef APPLIST_BENCH_REPLYTIME_H
#define APPLIST_BENCH_REPLYTIME_H

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

inline namespace applist_bench {

using ReplyTime = std::atomic<long long>;
static_assert(ReplyTime::is_always_lock_free, "two processes share it");

/** Ends the program when the file at @p path cannot be mapped. @return never unmapped */
inline ReplyTime& MapReplyTime(const char* path) {
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (file >= 0 && ftruncate(file, sizeof(ReplyTime)) == 0) {
        memory = mmap(nullptr, sizeof(ReplyTime), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    if (memory == MAP_FAILED) {
        std::perror(path);
        std::exit(1);
    }
    close(file);
    return *static_cast<ReplyTime*>(memory);
}

} // namespace applist_bench

#endif
