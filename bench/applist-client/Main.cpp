// Measures the client: the time of an edit, the blocks of the host's thread, and a long SetItems.
// Each on a private bus.
#include <cstdio>
#include <string>

#include "Blocks.h"
#include "EditCost.h"
#include "Permutation.h"
#include "PrivateBus.h"
#include "Selection.h"

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("Usage: applist_bench_applist_client OUT quick|full ROWS\n", stderr);
        return 2;
    }
    const std::string out = argv[1];
    const bool quick = std::string(argv[2]) == "quick";
    const Selection selection(argv[3]);
    constexpr struct {
        const char* row;
        void (*measure)(const std::string& out, bool quick);
    } PARTS[] = {
        {"edit", MeasureEditCost}, {"permutation", MeasurePermutation}, {"block", MeasureBlocks}};
    for (const auto& part : PARTS) {
        if (selection.Has(part.row)) {
            const PrivateBus bus;
            part.measure(out, quick);
        }
    }
}
