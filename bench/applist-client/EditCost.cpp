#include "EditCost.h"

#include <array>
#include <vector>

#include "LaneOrders.h"
#include "Process.h"
#include "Programs.h"
#include "ReplyTime.h"
#include "ResultFile.h"
#include "Stats.h"
#include "TemporaryFolder.h"

namespace {

constexpr std::array<const char*, 3> EDITS = {"add", "modify", "remove"};

/** A process that edits its own list. */
class EditedHost {
public:
    EditedHost(const char* program, const ReplyTime& replyTime)
        : m_process(StartProgram({program})), m_replyTime(replyTime) {
        m_process.ReadLine();
    }

    /** @return the seconds from the call to the reply */
    double Edit(const char* edit) {
        m_process.Send(edit);
        const long long call = std::stoll(m_process.ReadLine());
        return static_cast<double>(m_replyTime - call) * 1e-9;
    }

private:
    Process m_process;
    const ReplyTime& m_replyTime;
};

} // namespace

// The lists of all three processes have the same partner, on the same bus.
void applist_bench::MeasureEditCost(const std::string& out, bool quick) {
    const TemporaryFolder folder;
    const std::string file = folder.Path() + "/reply-time";
    const ReplyTime& replyTime = MapReplyTime(file.c_str());
    Process partner = StartProgram({"applist_bench_partner", file});
    partner.ReadLine();
    EditedHost proxy("applist_bench_edit_by_proxy", replyTime);
    EditedHost client("applist_bench_edit_by_client", replyTime);
    EditedHost control("applist_bench_edit_by_proxy", replyTime);

    const std::size_t rounds = quick ? 300 : 3000;
    std::array<std::vector<double>, 3> seconds[EDITS.size()];
    for (std::size_t round = 0; round < rounds + rounds / 20; ++round) {
        for (std::size_t edit = 0; edit < EDITS.size(); ++edit) {
            const std::array<EditedHost*, 3> lanes = {&proxy, &client, &control};
            for (const int lane : LANE_ORDERS[round % LANE_ORDERS.size()]) {
                const double took = lanes.at(lane)->Edit(EDITS[edit]);
                if (round >= rounds / 20) {
                    seconds[edit].at(lane).push_back(took);
                }
            }
        }
    }
    for (std::size_t edit = 0; edit < EDITS.size(); ++edit) {
        const auto& [byProxy, byClient, byControl] = seconds[edit];
        Result(std::string("client-edit-") + EDITS[edit])
            .Number("pairs", static_cast<double>(rounds))
            .Spread("ratio", Stats::Of(Stats::Ratios(byClient, byProxy)))
            .Spread("control", Stats::Of(Stats::Ratios(byControl, byProxy)))
            .Spread("proxy_s", Stats::Of(byProxy))
            .Spread("client_s", Stats::Of(byClient))
            .Write(out);
    }
}
