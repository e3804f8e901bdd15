#include <partner/Partner.h>

#include <cstdlib>
#include <utility>

#include <ipc/ByteArray.h>
#include <ipc/HandshakeNames.h>
#include <ipc/MessageFraming.h>
#include <shared/Counted.h>
#include <shared/Endpoint.h>
#include <shared/Protocol.h>

namespace applistctl {

namespace {

constexpr guint SECOND_CREATED_MS = 100;

} // namespace

const GDBusInterfaceVTable Partner::VTABLE = {OnCall, nullptr, nullptr, {nullptr}};

Partner::Partner(GDBusConnection* connection, Output& output, Faults& faults, Events events)
    : m_connection(connection),
      m_output(output),
      m_faults(faults),
      m_events(std::move(events)),
      m_replies(faults),
      m_path(HandshakeNames::ObjectPath(ENDPOINT_ID)),
      m_handshake(connection, output, faults,
                  {[this](const std::string& host) { OnBound(host); }, [this] { OnReady(); },
                   [this](const std::string& host, bool wasReady) { OnLost(host, wasReady); },
                   [this] { m_events.onFailure(); }}) {}

Partner::~Partner() {
    SubscribeTo("");
    if (m_registrationId != 0) {
        g_dbus_connection_unregister_object(m_connection, m_registrationId);
    }
}

void Partner::Start() {
    g_autoptr(GError) error = nullptr;
    if (!m_faults.Has(Fault::NoObject) && !RegisterObject(&error)) {
        m_output.Failure(std::string("cannot register the object: ") + error->message);
        m_events.onFailure();
        return;
    }
    m_handshake.Start();
}

bool Partner::RegisterObject(GError** error) {
    g_autoptr(GDBusNodeInfo) node =
        g_dbus_node_info_new_for_xml(JavaMWDbusRemote::INTERFACE_XML, error);
    if (node != nullptr) {
        m_registrationId = g_dbus_connection_register_object(
            m_connection, m_path.c_str(), node->interfaces[0], &VTABLE, this, nullptr, error);
    }
    return m_registrationId != 0;
}

// The host is bound and lost

void Partner::OnBound(const std::string& host) {
    SubscribeTo(host);
}

// Earlier changes of the host did not reach this partner, so the list is filled again.
void Partner::OnReady() {
    m_output.State("connected with " + m_handshake.Host());
    if (m_faults.Has(Fault::KeepItems)) {
        m_list.SelectNone();
    } else if (!m_faults.Has(Fault::KeepList)) {
        m_list.Clear();
    }
    AskForTheList();
    if (m_faults.Has(Fault::CreatedTwice)) {
        m_secondCreated.Start(SECOND_CREATED_MS, [this] { AskForTheList(); });
    }
}

bool Partner::AskForTheList() {
    m_awaitsWholeList = true;
    return Notify(APPLIST_LOCAL_CREATED_EVENT, "this partner's list is new");
}

void Partner::OnLost(const std::string& host, bool wasReady) {
    m_secondCreated.Stop();
    m_output.State("lost " + m_handshake.DescribeRole(host) +
                   (wasReady ? "" : " during the handshake"));
    SubscribeTo("");
}

void Partner::SubscribeTo(const std::string& host) {
    if (m_signalSubscriptionId != 0) {
        g_dbus_connection_signal_unsubscribe(m_connection,
                                             std::exchange(m_signalSubscriptionId, 0U));
    }
    if (!host.empty()) {
        m_signalSubscriptionId = g_dbus_connection_signal_subscribe(
            m_connection, host.c_str(), JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE, nullptr,
            m_path.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this, nullptr);
    }
}

// Requests of the host

void Partner::OnCall(GDBusConnection* /*connection*/, const char* sender, const char* /*path*/,
                     const char* /*interface*/, const char* /*method*/, GVariant* parameters,
                     GDBusMethodInvocation* invocation, void* user_data) {
    auto* const self = static_cast<Partner*>(user_data);
    std::vector<char> message;
    ByteArray::FromVariant(parameters, message); // GDBus has checked the type
    if (self->m_handshake.Host() != sender) {
        self->m_output.Problem(std::string("a request of ") + sender +
                               ", another process than the host, is ignored");
        g_dbus_method_invocation_return_value(invocation, ByteArray::ToVariant({}));
        return;
    }
    self->m_handshake.OnHostRequest();
    const Request request = ReadRequest(std::move(message));
    if (const std::optional<int> status = self->m_faults.ExitStatusAt(request)) {
        std::_Exit(*status);
    }
    if (self->m_faults.VanishesNow()) {
        g_object_unref(invocation);
        self->m_events.onVanish();
        return;
    }
    self->m_replies.Send(invocation, request.id, self->Answer(request));
    self->Process(request);
}

// Only the reply to the selection query has a content.
std::vector<char> Partner::Answer(const Request& request) const {
    const ListedItem* const selection = m_list.Selection();
    const bool isQuery = request.id == APPLIST_GET_SELECTION_FNC && request.problem.empty();
    return isQuery && selection != nullptr ? WriteRecord(*selection) : std::vector<char>();
}

void Partner::Process(const Request& request) {
    m_events.onRequest(request);
    if (!request.problem.empty()) {
        m_output.Problem("a malformed request" + (request.name.empty() ? "" : " " + request.name) +
                         " is ignored: " + request.problem);
        return;
    }
    Show(request);
    if (!m_faults.Has(Fault::Ignore, request.id)) {
        Apply(request);
    }
}

void Partner::Apply(const Request& request) {
    switch (static_cast<AppListRequest>(request.id)) {
    case APPLIST_GET_SELECTION_FNC:
        break; // Answer() contains the reply
    case APPLIST_SET_SELECTION_FNC:
        m_faults.Has(Fault::HideList) ? m_list.SelectRecord(request.items[0])
                                      : m_list.Select(request.items[0]);
        break;
    case APPLIST_REMOVE_ALL_ITEMS_FNC:
        m_faults.Has(Fault::KeepRemoved) ? m_list.SelectNone() : m_list.Clear();
        ShowSize();
        break;
    case APPLIST_ADD_ITEMS_FNC:
        AddItems(request.items);
        ShowSize();
        break;
    case APPLIST_ADD_ITEM_AT_END_FNC:
        m_list.AddAtEnd(request.items[0]);
        ShowSize();
        break;
    case APPLIST_SET_CLICKED_FNC:
        // A click in the partner's own list has the same effect.
        Notify(APPLIST_ITEM_CLICKED_EVENT, ItemListing::Describe(request.items[0]));
        break;
    case APPLIST_REMOVE_ITEM_FNC:
        Remove(request.items[0]);
        ShowSize();
        break;
    case APPLIST_MODIFY_ITEM_FNC:
        Modify(request.items[0], request.items[1]);
        break;
    }
}

// The host may change its list between the handshake and notification 4. The items of such a
// request precede the whole list, and only the whole list has them in the right order.
void Partner::AddItems(const std::vector<ListedItem>& items) {
    if (m_awaitsWholeList && m_list.IsPartOf(items)) {
        m_list.Clear();
        m_awaitsWholeList = false;
    }
    if (m_faults.Has(Fault::AppendKnown)) {
        for (const ListedItem& item : items) {
            m_list.AddAtEnd(item);
        }
    } else {
        m_list.AddMissing(items);
    }
}

void Partner::Remove(const ListedItem& item) {
    if (m_faults.Has(Fault::KeepRemoved)) {
        if (IsSelected(item)) {
            m_list.SelectNone();
        }
    } else if (!m_list.Remove(item.id)) {
        m_output.Problem("that item is not in the list");
    }
}

void Partner::Modify(const ListedItem& oldItem, const ListedItem& newItem) {
    const bool isSelected = IsSelected(oldItem);
    if (m_faults.Has(Fault::KeepReplaced)) {
        if (isSelected) {
            m_list.SelectRecord(newItem);
        }
    } else if (!m_list.Modify(oldItem.id, newItem)) {
        m_output.Problem("that item is not in the list");
    } else if (isSelected && m_faults.Has(Fault::LoseSelection)) {
        m_list.SelectNone();
    }
}

bool Partner::IsSelected(const ListedItem& item) const {
    const ListedItem* const selection = m_list.Selection();
    return selection != nullptr && selection->id == item.id;
}

void Partner::Show(const Request& request) {
    const std::string start = request.name + " (" + std::to_string(request.id) + ")";
    if (request.id == APPLIST_GET_SELECTION_FNC) {
        const ListedItem* const selection = m_list.Selection();
        m_output.Received(start +
                          (m_faults.ChangesReply(request.id) ? ": a fault decides the answer, not "
                                                             : ": answered with ") +
                          (selection != nullptr ? ItemListing::Describe(*selection) : "nothing"));
    } else if (request.id == APPLIST_MODIFY_ITEM_FNC) {
        m_output.Received(start + ": " + ItemListing::Describe(request.items[0]) + " becomes " +
                          ItemListing::Describe(request.items[1]));
    } else if (request.id == APPLIST_ADD_ITEMS_FNC) {
        m_output.Received(start + ": " + ItemListing::Count(request.items.size()));
        ItemListing::ShowItems(m_output, request.items);
    } else if (request.items.empty()) {
        m_output.Received(start);
    } else {
        m_output.Received(start + ": " + ItemListing::Describe(request.items[0]));
    }
}

void Partner::ShowSize() {
    m_output.Line("   my list has " + ItemListing::Count(m_list.Size()) + " now");
}

// The list of a host sends no notifications, but its channel can send them.
void Partner::OnSignal(GDBusConnection* /*connection*/, const char* sender, const char* /*path*/,
                       const char* /*interface*/, const char* signal, GVariant* parameters,
                       void* user_data) {
    Output& output = static_cast<Partner*>(user_data)->m_output;
    std::vector<char> message;
    std::int32_t id = 0;
    if (g_strcmp0(signal, JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME) != 0) {
        output.Problem(std::string("a signal ") + signal + " of " + sender + " is ignored");
    } else if (!ByteArray::FromVariant(parameters, message)) {
        output.Problem(std::string("a malformed notification is ignored: its type is ") +
                       g_variant_get_type_string(parameters) + ", not (ay)");
    } else if (!MessageFraming::RemoveId(message, id)) {
        output.Problem("a malformed notification is ignored: " + TooShortForAnId(message.size()));
    } else {
        output.Received("a notification with the id " + std::to_string(id) + " and " +
                        Counted(message.size(), "byte") + ": none of ours, ignored");
    }
}

// Notifications to the host

bool Partner::Notify(AppListNotification id, const std::string& meaning) {
    const std::string event = std::string(Protocol::FindNotification(id)->name) + " (" +
                              std::to_string(static_cast<int>(id)) + ")";
    if (!m_handshake.IsReady()) {
        m_output.Error("no host is ready: " + event + " is not sent");
        return false;
    }
    if (IsOmitted(id)) {
        return true;
    }
    std::vector<char> message;
    MessageFraming::AppendId(message, m_faults.Has(Fault::WrongId) ? 0 : id);
    const char* const receiver =
        m_faults.Has(Fault::Broadcast) ? nullptr : m_handshake.Host().c_str();
    g_autoptr(GError) error = nullptr;
    const std::string path = m_faults.Has(Fault::OtherPath) ? "/" : m_path;
    if (g_dbus_connection_emit_signal(m_connection, receiver, path.c_str(),
                                      JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE,
                                      JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME,
                                      ByteArray::ToVariant(message), &error) == FALSE) {
        m_output.Error(event + " is not sent: " + error->message);
        return false;
    }
    m_output.Sent(event + ": " + meaning);
    return true;
}

bool Partner::IsOmitted(AppListNotification id) const {
    switch (id) {
    case APPLIST_ITEM_CHANGE_EVENT:
        return m_faults.Has(Fault::NoChange);
    case APPLIST_ITEM_SELECTION_EVENT:
        return m_faults.Has(Fault::NoSelection);
    case APPLIST_ITEM_CLICKED_EVENT:
        return m_faults.Has(Fault::NoClick);
    case APPLIST_LOCAL_CREATED_EVENT:
        return m_faults.Has(Fault::NoCreated);
    }
    return false;
}

// Commands of the user

bool Partner::ShowList() {
    ItemListing::ShowList(m_output, m_list.Items(), m_list.Selection());
    return true;
}

bool Partner::Select(const std::string& item) {
    std::size_t index = 0;
    if (item == "none") {
        m_list.SelectNone();
        return Notify(APPLIST_ITEM_SELECTION_EVENT, "none");
    }
    if (!FindItem(item, index)) {
        return false;
    }
    m_list.SelectAt(index);
    return Notify(APPLIST_ITEM_SELECTION_EVENT, ItemListing::Describe(m_list.At(index)));
}

bool Partner::Click(const std::string& item) {
    std::size_t index = 0;
    return FindItem(item, index) &&
           Notify(APPLIST_ITEM_CLICKED_EVENT, ItemListing::Describe(m_list.At(index)));
}

// The host's list does not change. Notification 1 reports the difference to the host's listeners.
bool Partner::Remove(const std::string& item) {
    std::size_t index = 0;
    if (!FindItem(item, index)) {
        return false;
    }
    const ListedItem removed = m_list.At(index);
    const bool wasSelected = m_list.Selection() == &m_list.At(index);
    m_list.Remove(removed.id);
    return Notify(APPLIST_ITEM_CHANGE_EVENT, "without " + ItemListing::Describe(removed)) &&
           (!wasSelected || Notify(APPLIST_ITEM_SELECTION_EVENT, "none"));
}

bool Partner::Change() {
    return Notify(APPLIST_ITEM_CHANGE_EVENT, "my list has changed");
}

bool Partner::ChangeItem(const std::string& item) {
    std::size_t index = 0;
    return FindItem(item, index) &&
           Notify(APPLIST_ITEM_CHANGE_EVENT, ItemListing::Describe(m_list.At(index)));
}

bool Partner::Recreate() {
    m_list.Clear();
    return AskForTheList();
}

bool Partner::FindItem(const std::string& text, std::size_t& index) {
    const std::size_t size = m_list.Size();
    if (size == 0) {
        m_output.Error("the list is empty");
        return false;
    }
    guint64 number = 0;
    if (g_ascii_string_to_unsigned(text.c_str(), 10, 1, size, &number, nullptr) != FALSE) {
        index = static_cast<std::size_t>(number - 1);
        return true;
    }
    for (index = 0; index < size; ++index) {
        if (m_list.At(index).id == text) {
            return true;
        }
    }
    m_output.Error("N is a number from 1 to " + std::to_string(size) + ", or the id of an item");
    return false;
}

} // namespace applistctl
