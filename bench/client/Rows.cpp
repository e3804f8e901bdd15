#include "Rows.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "Bytes.h"
#include "Host.h"
#include "MainLoop.h"
#include "Names.h"
#include "Pairs.h"
#include "Reference.h"

namespace {

constexpr std::size_t KIB = 1024;
constexpr std::size_t MIB = 1024 * KIB;
constexpr std::size_t SMALL = 41;

// The bytes of a request on the bus.
std::vector<char> Framed(const std::string& payload, int id) {
    return ByteVector(Records::Frame(payload, id));
}

// A record of 37 bytes: 41 bytes with the id.
Item SmallItem() {
    return {"Navigation and Traffic", "navigation.01"};
}

// An item whose record has @p size bytes.
Item ItemOfSize(std::size_t size) {
    const std::string id = "large.01";
    return {std::string(size - id.size() - 2, 'n'), id};
}

struct Payload {
    const char* suffix;
    std::size_t bytes;
    std::size_t rounds;
};
constexpr Payload PAYLOADS[] = {
    {"4k", 4 * KIB, 1500}, {"64k", 64 * KIB, 900}, {"1m", MIB, 90}, {"8m", 8 * MIB, 24}};

struct Count {
    const char* suffix;
    std::size_t items;
    std::size_t rounds;
};
constexpr Count COUNTS[] = {
    {"10", 10, 600}, {"100", 100, 120}, {"1000", 1000, 12}, {"3000", 3000, 6}};

class Rows {
public:
    explicit Rows(const Run& run)
        : m_run(run),
          m_reference(m_host.Channel().Partner()),
          m_control(m_host.Channel().Partner()) {}

    void Messages();
    void ListOperations();
    void LargeItems();
    void ManyItems();
    void NotificationsOut();
    void NotificationsIn();

private:
    static constexpr std::size_t SMALL_ROUNDS = 3000;
    static constexpr unsigned BURST = 1000;

    bool IsWanted(const std::string& row) const { return m_run.isWanted(row); }
    std::size_t Rounds(std::size_t full) const;
    Lanes Request(const char* path, const std::vector<char>& message,
                  std::function<void()> library) const;
    void Measure(
        const std::string& row, std::size_t bytes, std::size_t rounds, const Lanes& lanes,
        const std::function<void(Result&)>& add = [](Result&) {}) const;
    void ListRow(const std::string& row, const std::vector<char>& message,
                 std::function<void()> operation, std::function<void()> prepare,
                 std::function<void()> finish) const;
    void Flush(unsigned expected, GDBusConnection* connection, unsigned long& lost) const;

    const Run& m_run;
    Host m_host;
    Reference m_reference;
    Reference m_control;
};

std::size_t Rows::Rounds(std::size_t full) const {
    return m_run.quick ? std::max<std::size_t>(6, full / 10) : full;
}

Lanes Rows::Request(const char* path, const std::vector<char>& message,
                    std::function<void()> library) const {
    // One copy for both lanes, because the position of bytes in a page can change the cost of a
    // copy.
    const auto bytes = std::make_shared<const std::vector<char>>(message);
    Lanes lanes;
    lanes.reference = [this, path, bytes] { m_reference.Call(path, *bytes); };
    lanes.control = [this, path, bytes] { m_control.Call(path, *bytes); };
    lanes.applist = std::move(library);
    return lanes;
}

void Rows::Measure(const std::string& row, std::size_t bytes, std::size_t rounds,
                   const Lanes& lanes, const std::function<void(Result&)>& add) const {
    const std::size_t warmUp = std::clamp<std::size_t>(rounds / 20, 1, 50);
    const Pairs pairs(lanes, warmUp, rounds);
    Result result(row);
    result.Text("log", m_run.log).Number("bytes", static_cast<double>(bytes));
    pairs.Report(result);
    add(result);
    result.Write(m_run.out);
}

// SendMessage with the plain bytes, small and large.
void Rows::Messages() {
    const auto row = [this](const std::string& name, std::size_t bytes, std::size_t rounds) {
        if (!IsWanted(name)) {
            return;
        }
        std::vector<char> message(bytes, 'm');
        Measure(name, bytes, Rounds(rounds), Request(Names::ENDPOINT_PATH, message, [&] {
                    m_host.Channel().SendMessage(message);
                }));
    };
    row("sendmessage-41b", SMALL, SMALL_ROUNDS);
    for (const Payload& payload : PAYLOADS) {
        row(std::string("sendmessage-") + payload.suffix, payload.bytes, payload.rounds);
    }
}

void Rows::ListRow(const std::string& row, const std::vector<char>& message,
                   std::function<void()> operation, std::function<void()> prepare,
                   std::function<void()> finish) const {
    if (!IsWanted(row)) {
        return;
    }
    Lanes lanes = Request(Names::LIST_PATH, message, std::move(operation));
    lanes.prepare = std::move(prepare);
    lanes.finish = std::move(finish);
    Measure(row, message.size(), Rounds(SMALL_ROUNDS), lanes);
}

// Each operation on a list of one or two items, which each round restores.
void Rows::ListOperations() {
    AppListProxy& list = m_host.List();
    Item item = SmallItem();
    Item clock("Clock", "clock.01");
    Item music("Music Player", "music.02");
    Item oldItem("Clock old", "clock.01");
    Item newItem("Clock new", "clock.02");
    const std::vector<AppListItem*> both = {&clock, &music};
    const auto nothing = [] {};
    const auto clear = [&] { list.RemoveAllItems(); };
    const auto add = [&] { list.AddItemAtEnd(&item); };

    ListRow(
        "setselection", Framed(item.Bytes(), Records::SET_SELECTION),
        [&] { list.SetSelection(&item); }, nothing, nothing);
    if (IsWanted("setclicked")) {
        AppListModel& model = m_host.Model();
        ListRow(
            "setclicked", Framed(item.Bytes(), Records::SET_CLICKED),
            [&] { model.SetClicked(&item); }, nothing, nothing);
    }
    ListRow(
        "additems", Framed(clock.Bytes() + music.Bytes(), Records::ADD_ITEMS),
        [&] { list.AddItems(both); }, nothing, clear);
    ListRow("additematend-41b", Framed(item.Bytes(), Records::ADD_ITEM_AT_END), add, nothing,
            clear);
    ListRow(
        "removeitem", Framed(item.Bytes(), Records::REMOVE_ITEM), [&] { list.RemoveItem(&item); },
        add, nothing);
    ListRow(
        "modifyitem", Framed(oldItem.Bytes() + newItem.Bytes(), Records::MODIFY_ITEM),
        [&] { list.ModifyItem(&oldItem, &newItem); }, [&] { list.AddItemAtEnd(&oldItem); }, clear);
    ListRow("removeallitems", Framed("", Records::REMOVE_ALL_ITEMS), clear, add, nothing);
}

// AddItemAtEnd with an item whose record is large: serialising, framing and sending it.
void Rows::LargeItems() {
    for (const Payload& payload : PAYLOADS) {
        const std::string row = std::string("additematend-") + payload.suffix;
        if (!IsWanted(row)) {
            continue;
        }
        Item item = ItemOfSize(payload.bytes);
        const std::vector<char> message = Framed(item.Bytes(), Records::ADD_ITEM_AT_END);
        Lanes lanes =
            Request(Names::LIST_PATH, message, [&] { m_host.List().AddItemAtEnd(&item); });
        lanes.finish = [&] { m_host.List().RemoveAllItems(); };
        Measure(row, message.size(), Rounds(payload.rounds), lanes);
    }
}

// AddItems with many new items.
void Rows::ManyItems() {
    for (const Count& count : COUNTS) {
        const std::string row = std::string("additems-") + count.suffix;
        if (!IsWanted(row)) {
            continue;
        }
        std::vector<std::unique_ptr<Item>> items;
        std::vector<AppListItem*> pointers;
        std::string payload;
        for (std::size_t number = 0; number < count.items; ++number) {
            const std::string digits = std::to_string(10000 + number);
            items.push_back(
                std::make_unique<Item>("Application " + digits, "application." + digits));
            pointers.push_back(items.back().get());
            payload += items.back()->Bytes();
        }
        const std::vector<char> message = Framed(payload, Records::ADD_ITEMS);
        Lanes lanes = Request(Names::LIST_PATH, message, [&] { m_host.List().AddItems(pointers); });
        lanes.finish = [&] { m_host.List().RemoveAllItems(); };
        Measure(row, message.size(), Rounds(count.rounds), lanes,
                [&](Result& result) { result.Number("items", static_cast<double>(count.items)); });
    }
}

void Rows::Flush(unsigned expected, GDBusConnection* connection, unsigned long& lost) const {
    lost += expected - m_reference.PartnerCount(connection);
}

// From the first notification of a burst until the partner has received the last one.
void Rows::NotificationsOut() {
    if (!IsWanted("notify-out")) {
        return;
    }
    std::vector<char> data(SMALL, 's');
    unsigned long lost = 0;
    unsigned long referenceLost = 0;
    const auto bare = [&](const Reference& reference) {
        for (unsigned sent = 0; sent < BURST; ++sent) {
            reference.Emit(Names::ENDPOINT_PATH, data);
        }
        Flush(BURST, reference.Connection(), referenceLost);
    };
    Lanes lanes;
    lanes.reference = [&] { bare(m_reference); };
    lanes.control = [&] { bare(m_control); };
    lanes.applist = [&] {
        for (unsigned sent = 0; sent < BURST; ++sent) {
            m_host.Channel().SendNotification(data);
        }
        Flush(BURST, m_host.Connection(), lost);
    };
    const std::size_t rounds = 20;
    Measure("notify-out", data.size(), rounds, lanes, [&](Result& result) {
        result.Number("burst", BURST)
            .Number("sent", static_cast<double>(BURST * (rounds + 1)))
            .Number("lost", static_cast<double>(lost))
            .Number("reference_lost", static_cast<double>(referenceLost));
    });
}

// From the request to the partner until the last notification of a burst has been handled.
void Rows::NotificationsIn() {
    if (!IsWanted("notify-in")) {
        return;
    }
    unsigned long lost = 0;
    unsigned long referenceLost = 0;
    const auto receive = [&](const char* destination, const auto& receiver,
                             unsigned long& missing) {
        const unsigned long goal = receiver.Received() + BURST;
        m_reference.RequestSignals(destination, Names::ENDPOINT_PATH, BURST, SMALL, 1);
        MainLoop::IterateUntil([&] { return receiver.Received() >= goal; });
        missing += goal - receiver.Received();
    };
    m_reference.Subscribe(Names::ENDPOINT_PATH);
    m_control.Subscribe(Names::ENDPOINT_PATH);
    Lanes lanes;
    lanes.reference = [&] { receive(m_reference.UniqueName(), m_reference, referenceLost); };
    lanes.control = [&] { receive(m_control.UniqueName(), m_control, referenceLost); };
    lanes.applist = [&] { receive(m_host.UniqueName(), m_host.Channel(), lost); };
    const std::size_t rounds = 20;
    Measure("notify-in", SMALL, rounds, lanes, [&](Result& result) {
        result.Number("burst", BURST)
            .Number("sent", static_cast<double>(BURST * (rounds + 1)))
            .Number("lost", static_cast<double>(lost))
            .Number("reference_lost", static_cast<double>(referenceLost));
    });
}

} // namespace

void applist_bench::RunRows(const Run& run) {
    // Never destroyed: the destructors are not measured.
    auto& rows = *new Rows(run);
    rows.Messages();
    rows.ListOperations();
    rows.LargeItems();
    rows.ManyItems();
    rows.NotificationsOut();
    rows.NotificationsIn();
}
