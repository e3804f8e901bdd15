// Arbitrary notifications and messages through the adapter into a model whose partner answers
// arbitrary bytes. The input: how many items, their texts, then events, each with the partner's
// answer.
#include <memory>

#include <applist/RemoteAppListModel.h>

#include "CountingListener.h"
#include "ExpectedList.h"
#include "Target.h"

namespace {

// -1, which is no event's id, for bytes that hold none.
int IdOf(const std::string& bytes) {
    return bytes.size() < 4 ? -1 : Records::IdOf(bytes);
}

class Dispatch {
public:
    Dispatch() {
        m_model.AddItemChangeListener(&m_listener);
        m_model.AddItemClickedListener(&m_listener);
        m_model.AddItemSelectionListener(&m_listener);
    }

    void AddItem(const std::string& name, const std::string& id) {
        m_items.push_back(std::make_unique<PlainItem>(name, id));
        m_plain.Expect(m_plain.AddItemAtEnd(m_items.back().get()));
        m_model.AddItemAtEnd(m_items.back().get());
    }

    void Notify(const std::string& bytes, const std::string& answer) {
        Channel().reply = BytesOf(answer);
        const CountingListener before = m_listener;
        std::vector<char> data = BytesOf(bytes);
        Channel().HandleNotification(data);

        const int id = IdOf(bytes);
        if (id == 2) {
            m_plain.SelectionEvent(answer);
        } else if (id == 4) {
            m_plain.CreatedEvent();
        }
        FUZZ_EXPECT(m_listener.changes == before.changes + (id == 1 ? 1U : 0U));
        FUZZ_EXPECT(m_listener.selections == before.selections + (id == 2 ? 1U : 0U));
        FUZZ_EXPECT(m_listener.clicks == before.clicks + (id == 3 ? 1U : 0U));
        FUZZ_EXPECT(m_model.GetSelection() == m_plain.selection);
        FUZZ_EXPECT(Channel().requests == m_plain.requests);
    }

    void Call(const std::string& bytes) {
        std::vector<char> data = BytesOf(bytes);
        FUZZ_EXPECT(Channel().HandleMessage(data).empty());
        FUZZ_EXPECT(Channel().requests == m_plain.requests);
    }

    void ReportReady(bool ready, const std::string& partner) {
        Channel().HandleConnectionReady(ready, partner);
        FUZZ_EXPECT(Channel().requests == m_plain.requests);
    }

private:
    static JavaMWDbusRemote& Channel() { return *JavaMWDbusRemote::Current(); }

    RemoteAppListModel m_model;
    ExpectedList m_plain;
    CountingListener m_listener;
    std::vector<std::unique_ptr<PlainItem>> m_items;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    Dispatch dispatch;
    for (int count = choices.Byte() % 8; count > 0; --count) {
        const std::string name = choices.Text();
        dispatch.AddItem(name, choices.Text());
    }
    while (choices.AreLeft()) {
        const int kind = choices.Byte() % 8;
        const std::string bytes = choices.LongText();
        if (kind < 4) {
            // Well-formed ones, so that the fuzzer need not find the frame.
            dispatch.Notify(bytes + static_cast<char>(kind + 1) + std::string(3, '\0'),
                            choices.LongText());
        } else if (kind < 6) {
            dispatch.Notify(bytes, choices.LongText());
        } else if (kind == 6) {
            dispatch.Call(bytes);
        } else {
            dispatch.ReportReady(bytes.size() % 2 == 1, bytes);
        }
    }
    return 0;
}
