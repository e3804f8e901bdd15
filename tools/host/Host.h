// A running host: executes the commands of the user and prints the events of the partner.
#ifndef APPLIST_TOOLS_HOST_H
#define APPLIST_TOOLS_HOST_H

#include <string>
#include <vector>

#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>
#include <glib.h>
#include <host/HostList.h>
#include <shared/CapturedOutput.h>
#include <shared/CommandInput.h>
#include <shared/Output.h>

namespace applistctl {

/**
 * A host has little information about its partner. The library reports three events, and prints a
 * line on standard output for each request without a partner. A new list of the partner has no
 * event: the library only reads all items in order to send them.
 */
class Host : private ItemSelectionListener, private ItemChangeListener, private ItemClickListener {
public:
    explicit Host(Output& output);
    ~Host() override;

    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void Fill(const std::vector<ListedItem>& items);

    /** @param host null when only the texts are needed */
    static std::vector<Command> CommandsFor(Host* host);

private:
    enum class Partner {
        Unknown, ///< no request so far
        Awaited, ///< the first request found no partner, which may be starting
        Present,
        Absent
    };

    void OnItemSelectionEvent(AppListModel* model) override;
    void OnItemChangeEvent(AppListModel* model) override;
    void OnItemClickedEvent(AppListModel* model) override;
    void OnEvent(AppListModel* model, const std::string& text);
    void OnItemRead();
    void OnLibraryLine(const std::string& line);
    static gboolean OnListWasRead(void* user_data);

    bool Add(const std::vector<std::string>& arguments);
    bool Remove(const std::vector<std::string>& arguments);
    bool Modify(const std::vector<std::string>& arguments);
    bool Select(const std::vector<std::string>& arguments);
    bool Clear();
    bool List();
    bool Click(const std::vector<std::string>& arguments);

    HostItem* FindOrReport(const std::string& id);
    bool HasModelOrReports();
    template <class Operation>
    void Request(const std::string& text, Operation operation);
    const ListedItem* Selection();

    Output& m_output;
    CapturedOutput m_libraryOutput;
    AppListModel* m_model = nullptr; ///< null until the first event
    Partner m_partner = Partner::Unknown;
    bool m_requestWasLost = false;
    bool m_isInRequest = false;
    guint m_listWasReadId = 0;
    HostList m_list;
};

} // namespace applistctl

#endif
