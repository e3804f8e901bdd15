// The host under test: a launcher with a list of applications and a selection.
#ifndef LAUNCHER_H
#define LAUNCHER_H

#include <applist/AppListItem.h>
#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemSelectionListener.h>
#include <list>
#include <string>
#include <utility>

class Application : public AppListItem {
public:
    Application(std::string id, std::string name) : m_id(std::move(id)), m_name(std::move(name)) {}
    std::string GetVisibleName() override { return m_name; }
    std::string GetUnigueId() override { return m_id; }

private:
    const std::string m_id;
    const std::string m_name;
};

class Launcher : private ItemSelectionListener {
public:
    Launcher() { m_list.AddItemSelectionListener(this); }

    void Install(const std::string& id, const std::string& name) {
        m_applications.emplace_back(id, name);
        m_list.AddItemAtEnd(&m_applications.back());
    }

    void Uninstall(const std::string& id) {
        m_applications.remove_if([&](Application& application) {
            const bool wanted = application.GetUnigueId() == id;
            if (wanted) {
                m_list.RemoveItem(&application); // before it is deleted
            }
            return wanted;
        });
    }

    /** The name of the item that the partner selected last; empty without a selection. */
    const std::string& Selected() const { return m_selected; }

private:
    void OnItemSelectionEvent(AppListModel* model) override {
        AppListItem* item = model->GetSelection();
        m_selected = item != nullptr ? item->GetVisibleName() : "";
    }

    std::string m_selected;
    std::list<Application> m_applications;
    AppListProxy m_list; // declared last: destroyed first
};

#endif
