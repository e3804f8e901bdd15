// An item of the tests: it records its readers and its deletion.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include <applist/AppListItem.h>

inline namespace applist_test {

class TestItem : public AppListItem {
public:
    TestItem(std::string name, std::string id) : m_name(std::move(name)), m_id(std::move(id)) {}
    ~TestItem() override {
        if (onDeleted) {
            onDeleted();
        }
    }

    std::string GetVisibleName() override {
        ReportRead("name");
        return m_name;
    }
    std::string GetUnigueId() override {
        ReportRead("id");
        return m_id;
    }

    std::function<void(const std::string& field)> onRead;
    std::function<void()> onDeleted;

private:
    void ReportRead(const std::string& field) {
        if (onRead) {
            onRead(field);
        }
    }

    std::string m_name;
    std::string m_id;
};

} // namespace applist_test
