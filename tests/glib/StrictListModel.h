// A strict user of a GListModel: it keeps a copy of the list from the signals alone, and compares
// the copy with the model at each signal.
#ifndef APPLIST_TESTS_STRICTLISTMODEL_H
#define APPLIST_TESTS_STRICTLISTMODEL_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <gio/gio.h>

inline namespace applist_test {

/**
 * Checks at each signal "items-changed":
 * - the range lies in the copy, is not empty, and its first and last items differ from those that
 *   they replace
 * - the number of items is that of the copy after the change
 * - the items outside of the range are the same objects as before, and those inside exist, have the
 *   type of the model and follow no handler that changed the list before
 * - the model has no item behind its number of items
 *
 * A violation is reported once, by the function of the constructor.
 */
class StrictListModel {
public:
    using Report = std::function<void(const std::string& violation)>;

    /** The first copy contains the current items. */
    StrictListModel(GListModel* model, Report report);
    ~StrictListModel();

    StrictListModel(const StrictListModel&) = delete;
    StrictListModel& operator=(const StrictListModel&) = delete;

    /** The list may not change between two signals. */
    void Check(const char* moment);

    /** Each range since the last call, as "position-removed+added". */
    std::vector<std::string> TakeRanges();

    const std::vector<GObject*>& Copy() const { return m_copy; }

private:
    static void cb_ItemsChanged(GListModel* model, guint position, guint removed, guint added,
                                gpointer user_data);
    void OnItemsChanged(guint position, guint removed, guint added);
    void CheckTypes();
    void Fail(const std::string& violation);
    std::vector<GObject*> Read() const;
    void Replace(std::vector<GObject*> items);

    GListModel* const m_model;
    const Report m_report;
    const gulong m_handler;
    std::vector<GObject*> m_copy; // with references, so that no address returns
    std::vector<std::string> m_ranges;
};

} // namespace applist_test

#endif
