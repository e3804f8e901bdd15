// A listener of all three kinds. Each event calls the function that the test has set.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <applist/AppListModel.h>
#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>

inline namespace applist_test {

class TestListener : public ItemSelectionListener,
                     public ItemChangeListener,
                     public ItemClickListener {
public:
    using Event = std::function<void(AppListModel*)>;

    TestListener() = default;
    /** The action of each of the three events. */
    explicit TestListener(const Event& event)
        : onSelection(event), onChange(event), onClicked(event) {}
    /** Records each event in @p calls: "selection", "change" or "click". */
    explicit TestListener(std::vector<std::string>& calls)
        : onSelection([&](AppListModel*) { calls.emplace_back("selection"); }),
          onChange([&](AppListModel*) { calls.emplace_back("change"); }),
          onClicked([&](AppListModel*) { calls.emplace_back("click"); }) {}
    ~TestListener() override {
        if (onDeleted) {
            onDeleted();
        }
    }
    TestListener(const TestListener&) = delete;
    TestListener& operator=(const TestListener&) = delete;

    void OnItemSelectionEvent(AppListModel* model) override { Call(onSelection, model); }
    void OnItemChangeEvent(AppListModel* model) override { Call(onChange, model); }
    void OnItemClickedEvent(AppListModel* model) override { Call(onClicked, model); }

    /** Registers the listener for all three kinds of events. */
    void AddTo(AppListModel& model) {
        model.AddItemSelectionListener(this);
        model.AddItemChangeListener(this);
        model.AddItemClickedListener(this);
    }

    Event onSelection;
    Event onChange;
    Event onClicked;
    std::function<void()> onDeleted;

private:
    static void Call(const Event& event, AppListModel* model) {
        if (event) {
            event(model);
        }
    }
};

} // namespace applist_test
