#include <common/StandardOutput.h>

#include <cstdio>

#include <common/CancellationOff.h>

void StandardOutput::WriteLine(std::string line) {
    line += '\n';
    const CancellationOff untilUnlocked;
    flockfile(stdout);
    // Earlier output goes first: the line then fits the buffer, and leaves it in one write.
    std::fflush(stdout);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
    funlockfile(stdout);
}
