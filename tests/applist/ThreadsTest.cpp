// Several threads edit one list while the partner's events arrive.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ListTest.h"
#include "MainLoop.h"
#include "TestItem.h"
#include "TestListener.h"

using namespace std::string_literals;
using testing::Each, testing::NotNull;

namespace {

constexpr int ROUNDS = 60;

/** Items that one thread owns, with its name in their ids. */
class Editor {
public:
    explicit Editor(const std::string& name) {
        for (int i = 0; i < ROUNDS; ++i) {
            const std::string id = name + std::to_string(i);
            m_items.push_back(std::make_unique<TestItem>("Application " + id, id));
            m_replacements.push_back(std::make_unique<TestItem>("Replaced " + id, id));
        }
    }

    /** Adds all items, replaces every third of them and removes every second. */
    void Edit(RemoteAppListModel& model) {
        for (std::size_t i = 0; i < m_items.size(); ++i) {
            TestItem* const item = m_items[i].get();
            i % 4 < 2 ? model.AddItemAtEnd(item) : model.AddItems({item});
            model.SetSelection(item);
            if (i % 3 == 0) {
                model.ModifyItem(item, m_replacements[i].get());
            }
            if (i % 2 == 0) {
                model.RemoveItem(item);
            }
        }
    }

    /** The requests that Edit makes. */
    static std::size_t RequestCount() {
        std::size_t count = 0;
        for (std::size_t i = 0; i < std::size_t{ROUNDS}; ++i) {
            count += 2U + (i % 3 == 0 ? 1U : 0U) + (i % 2 == 0 ? 1U : 0U);
        }
        return count;
    }

    /** Edit's items that remain in the list, in order. */
    std::vector<AppListItem*> Left() const {
        std::vector<AppListItem*> left;
        for (std::size_t i = 1; i < m_items.size(); i += 2) {
            left.push_back(i % 3 == 0 ? m_replacements[i].get() : m_items[i].get());
        }
        return left;
    }

    bool Owns(AppListItem* item) const {
        const std::vector<AppListItem*> left = Left();
        return std::find(left.begin(), left.end(), item) != left.end();
    }

private:
    std::vector<std::unique_ptr<TestItem>> m_items;
    std::vector<std::unique_ptr<TestItem>> m_replacements;
};

class Threads : public ConnectedListTest {
protected:
    std::vector<AppListItem*> InListOf(const Editor& editor) {
        std::vector<AppListItem*> items = model->GetAllItems();
        items.erase(std::remove_if(items.begin(), items.end(),
                                   [&](AppListItem* item) { return !editor.Owns(item); }),
                    items.end());
        return items;
    }

    std::size_t RequestsEndingWith(const std::string& id) {
        const std::vector<std::string> requests = Requests();
        return static_cast<std::size_t>(
            std::count_if(requests.begin(), requests.end(), [&](const std::string& request) {
                return request.compare(request.size() - 4, 4, id) == 0;
            }));
    }
};

} // namespace

TEST_F(Threads, TwoEditorsKeepTheListConsistentDuringEvents) {
    Editor first("x");
    Editor second("y");
    TestListener listener([](AppListModel* source) {
        EXPECT_THAT(source->GetAllItems(), Each(NotNull()));
        source->GetSelection();
    });
    listener.AddTo(*model);
    PartnerSelects("x\nx1\n");

    std::atomic<int> running{3};
    std::thread firstThread([&] {
        first.Edit(*model);
        --running;
    });
    std::thread secondThread([&] {
        second.Edit(*model);
        --running;
    });
    std::thread events([&] {
        for (int i = 0; i < ROUNDS; ++i) {
            const char id = static_cast<char>(1 + i % 4);
            partner->Notify(hostName, {id, 0, 0, 0});
        }
        --running;
    });
    const auto finished = [&] {
        return running == 0 && CountDebug("IPC HandleNotification") == std::size_t{ROUNDS};
    };
    // Some hundred round trips, on a machine that may be busy.
    const bool inTime = MainLoop::IterateUntil(finished, std::chrono::seconds(100));
    firstThread.join();
    secondThread.join();
    events.join();
    ASSERT_TRUE(inTime);

    EXPECT_EQ(InListOf(first), first.Left());
    EXPECT_EQ(InListOf(second), second.Left());
    EXPECT_EQ(model->GetAllItems().size(), first.Left().size() + second.Left().size());
    EXPECT_EQ(RequestsEndingWith("\xD1\x07\0\0"s), std::size_t{ROUNDS} / 4);
    EXPECT_EQ(RequestsEndingWith("\xD5\x07\0\0"s), std::size_t{ROUNDS});
    EXPECT_EQ(RequestsEndingWith("\xD7\x07\0\0"s), std::size_t{ROUNDS});
    const std::size_t byEvents = RequestsEndingWith("\xD1\x07\0\0"s);
    EXPECT_GE(Requests().size(), 2 * Editor::RequestCount() + byEvents);
}

TEST_F(Threads, OneThreadReadsWhileAnotherWaitsForThePartner) {
    TestItem item("A", "1");
    int count = 0;
    AppListItem* selection = nullptr;
    partner->AnswerWith([&](const TestPartner::Bytes&) {
        count = model->GetItemsCount();
        selection = model->GetSelection();
        return TestPartner::Bytes();
    });
    model->AddItemAtEnd(&item);
    EXPECT_EQ(count, 1);
    model->SetSelection(&item);
    EXPECT_EQ(selection, &item);
}

TEST_F(Threads, AnEventIsHandledInTheThreadOfTheLoopWhileTheHostEdits) {
    Editor editor("x");
    std::thread::id listenerThread;
    std::atomic<int> calls{0};
    TestListener listener([&](AppListModel*) {
        listenerThread = std::this_thread::get_id();
        ++calls;
    });
    model->AddItemChangeListener(&listener);
    const LoopThread loop;
    partner->Notify(hostName, ByteVector("\x01\0\0\0"s));
    editor.Edit(*model);
    EXPECT_TRUE(MainLoop::WaitWithoutIterating([&] { return calls == 1; }));
    EXPECT_EQ(listenerThread, loop.Id());
    EXPECT_EQ(InListOf(editor), editor.Left());
}
