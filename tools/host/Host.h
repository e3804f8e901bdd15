// A host at work: carries out the user's commands and tells of the partner's events.
#ifndef APPLIST_TOOLS_HOST_H
#define APPLIST_TOOLS_HOST_H

#include <string>
#include <vector>

#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>
#include <glib.h>
#include <host/HostList.h>
#include <host/LibraryOutput.h>
#include <shared/CommandInput.h>
#include <shared/Output.h>

/**
 * A host learns little about its partner. The library tells it of three events, and of requests
 * that found no partner by a line on standard output. A partner's new list has no event: the host
 * sees only that the library reads all of its items to send them.
 */
class Host : private ItemSelectionListener, private ItemChangeListener, private ItemClickListener {
public:
    explicit Host(Output& output);
    ~Host() override;

    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void Fill(const std::vector<ListedItem>& items);

    /** @param host null for the texts alone */
    static std::vector<Command> CommandsFor(Host* host);

private:
    enum class Partner {
        Unknown, ///< nothing has been asked of it
        Awaited, ///< the first request found none: it may just be starting
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
    LibraryOutput m_libraryOutput;
    AppListModel* m_model = nullptr; ///< what the first event brings
    Partner m_partner = Partner::Unknown;
    bool m_requestWasLost = false;
    bool m_isInRequest = false;
    guint m_listWasReadId = 0;
    HostList m_list;
};

#endif
