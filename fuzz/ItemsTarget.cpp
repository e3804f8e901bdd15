// Item streams out of arbitrary bytes, against a plain reading of them.
#include <sstream>

#include <applist/ItemRecords.h>
#include <applist/RemoteAppListModel.h>

#include "PlainItem.h"
#include "Target.h"

namespace {

// Reading, writing and reading again gives the same.
void ExpectTheSameWritten(RemoteAppListModel& model, std::vector<RemoteAppListItem>& items,
                          const std::string& complete) {
    std::vector<AppListItem*> pointers;
    for (RemoteAppListItem& item : items) {
        pointers.push_back(&item);
    }
    FUZZ_EXPECT(model.Serialize(pointers) == complete);
}

// A stream that is in a bad state, or an item that holds something already.
void ReadIntoAUsedItem(const std::string& text) {
    std::istringstream stream(text);
    PlainItem before("name before", "id before");
    RemoteAppListItem item(before);
    std::size_t count = 0;
    while (ItemRecords::ReadNext(stream, item)) {
        ++count;
    }
    FUZZ_EXPECT(count == Records::Read(text).size());
    FUZZ_EXPECT(!ItemRecords::ReadNext(stream, item));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static RemoteAppListModel model;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto expected = Records::Read(text);

    std::vector<RemoteAppListItem> items = model.Deserialize(BytesOf(text));
    FUZZ_EXPECT(items.size() == expected.size());
    std::string complete;
    for (std::size_t i = 0; i < items.size(); ++i) {
        FUZZ_EXPECT(items[i].GetVisibleName() == expected[i].name);
        FUZZ_EXPECT(items[i].GetUnigueId() == expected[i].id);
        complete += Records::Write(expected[i]);
    }
    ExpectTheSameWritten(model, items, complete);
    ReadIntoAUsedItem(text);
    return 0;
}
