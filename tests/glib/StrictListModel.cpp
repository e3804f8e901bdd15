#include "StrictListModel.h"

#include <algorithm>
#include <utility>

inline namespace applist_test {

StrictListModel::StrictListModel(GListModel* model, Report report)
    : m_model(static_cast<GListModel*>(g_object_ref(model))),
      m_report(std::move(report)),
      m_handler(g_signal_connect(model, "items-changed", G_CALLBACK(cb_ItemsChanged), this)),
      m_copy(Read()) {}

StrictListModel::~StrictListModel() {
    if (g_signal_handler_is_connected(m_model, m_handler) != 0) { // not after its disposal
        g_signal_handler_disconnect(m_model, m_handler);
    }
    Replace({});
    g_object_unref(m_model);
}

void StrictListModel::cb_ItemsChanged(GListModel* /*model*/, guint position, guint removed,
                                      guint added, gpointer user_data) {
    static_cast<StrictListModel*>(user_data)->OnItemsChanged(position, removed, added);
}

void StrictListModel::OnItemsChanged(guint position, guint removed, guint added) {
    const std::string range =
        std::to_string(position) + "-" + std::to_string(removed) + "+" + std::to_string(added);
    m_ranges.push_back(range);
    std::vector<GObject*> items = Read();
    if (position > m_copy.size() || removed > m_copy.size() - position) {
        Fail(range + " leaves the list of " + std::to_string(m_copy.size()) + " items");
    } else if (removed == 0 && added == 0) {
        Fail(range + " is empty");
    } else if (items.size() != m_copy.size() - removed + added) {
        Fail(range + " on " + std::to_string(m_copy.size()) + " items leaves " +
             std::to_string(items.size()));
    } else {
        const auto oldFirst = m_copy.begin() + position;
        const auto first = items.begin() + position;
        if (!std::equal(m_copy.begin(), oldFirst, items.begin())) {
            Fail(range + " changes items in front of it");
        }
        if (!std::equal(oldFirst + removed, m_copy.end(), first + added)) {
            Fail(range + " changes items behind it");
        }
        if (removed > 0 && added > 0 &&
            (*oldFirst == *first || *(oldFirst + removed - 1) == *(first + added - 1))) {
            Fail(range + " is not the smallest range");
        }
    }
    Replace(std::move(items));
    CheckTypes();
}

void StrictListModel::Check(const char* moment) {
    std::vector<GObject*> items = Read();
    if (items != m_copy) {
        Fail(std::string("without a signal before ") + moment);
    }
    Replace(std::move(items));
}

void StrictListModel::CheckTypes() {
    const GType type = g_list_model_get_item_type(m_model);
    for (GObject* const item : m_copy) {
        if (item == nullptr || g_type_is_a(G_OBJECT_TYPE(item), type) == 0) {
            Fail("an item of another type");
        }
    }
    for (const std::size_t behind : {m_copy.size(), m_copy.size() + 1}) {
        g_autoptr(GObject) none =
            static_cast<GObject*>(g_list_model_get_item(m_model, static_cast<guint>(behind)));
        if (none != nullptr) {
            Fail("an item behind the end");
        }
    }
}

void StrictListModel::Fail(const std::string& violation) {
    m_report("items-changed: " + violation);
}

std::vector<std::string> StrictListModel::TakeRanges() {
    return std::exchange(m_ranges, {});
}

std::vector<GObject*> StrictListModel::Read() const {
    std::vector<GObject*> items;
    for (guint i = 0; i < g_list_model_get_n_items(m_model); ++i) {
        items.push_back(static_cast<GObject*>(g_list_model_get_item(m_model, i)));
    }
    return items;
}

void StrictListModel::Replace(std::vector<GObject*> items) {
    for (GObject* const item : std::exchange(m_copy, std::move(items))) {
        g_object_unref(item);
    }
}

} // namespace applist_test
