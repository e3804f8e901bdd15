#include <applist/RemoteAppListItem.h>

RemoteAppListItem::RemoteAppListItem(AppListItem& other)
    : m_visibleName(other.GetVisibleName()), m_uniqueId(other.GetUnigueId()) {}

RemoteAppListItem& RemoteAppListItem::operator=(AppListItem& other) {
    m_visibleName = other.GetVisibleName();
    m_uniqueId = other.GetUnigueId();
    return *this;
}

std::string RemoteAppListItem::GetVisibleName() {
    return m_visibleName;
}

std::string RemoteAppListItem::GetUnigueId() {
    return m_uniqueId;
}

std::ostream& operator<<(std::ostream& os, const RemoteAppListItem& item) {
    os << item.m_visibleName << std::endl;
    os << item.m_uniqueId << std::endl;
    return os;
}

std::istream& operator>>(std::istream& is, RemoteAppListItem& item) {
    if (!is.good()) {
        return is;
    }
    std::getline(is, item.m_visibleName);
    if (!is.good()) {
        return is;
    }
    std::getline(is, item.m_uniqueId);
    return is;
}
