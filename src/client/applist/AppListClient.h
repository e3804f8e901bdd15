// An application list with a thread of its own, for hosts that must not wait.
#ifndef APPLIST_APPLIST_APPLISTCLIENT_H
#define APPLIST_APPLIST_APPLISTCLIENT_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/** Marks the functions that libapplist-client exports. */
#define APPLIST_CLIENT_API __attribute__((visibility("default")))

namespace applist_internal {
class ClientCore;
}

/**
 * The list of one host, kept equal to the list of the partner.
 *
 * AppListProxy blocks its caller during each request, and requires a main loop of GLib. This class
 * does neither: a thread with a main context of its own holds the list, and a second thread makes
 * the requests in the order of the calls. No function waits for the bus or the partner, except for
 * the destructor, whose wait is bounded.
 *
 * **Values.** Items are values with a unique id and a visible name. The functions read and change
 * the *host's list*, which is up to date at once. The requests follow. The host's list never holds
 * two items with one unique id, an item with an empty unique id, or a line feed in a text: such
 * changes are rejected.
 *
 * **Threads.** Any thread may call any function. Events and completions run through the executor of
 * the constructor, one after the other. Completions follow in the order of the calls, but the
 * completions of merged and rejected calls do not wait for earlier ones. Events and completions may
 * call every function of the client, and may destroy the client.
 *
 * **Full queue.** At most QUEUE_LENGTH changes wait for the partner, with 65,536 items in all; a
 * single change may have more items. A further change removes the waiting changes from the queue,
 * and the second thread later sends the difference between the partner's list and the host's list.
 * Clicks stay in the queue; a click is rejected if QUEUE_LENGTH clicks are waiting.
 *
 * **Partner.** A new partner receives the whole list and the selection. Changes without a partner
 * are therefore not lost, although their outcome is NO_PARTNER. If the partner does not reply, a
 * request fails after 25 s (GDBusProxy:g-default-timeout). Later changes wait in the queue during
 * this time.
 *
 * **Bus.** If the bus cannot be reached or closes its connection, the client tries to connect twice
 * per second. The client turns off the property GDBusConnection:exit-on-close of the shared
 * connection, so that the loss of the bus does not end the process.
 *
 * **One list per process.** A process has at most one AppListClient or AppListProxy at a time.
 *
 * The class throws nothing except std::bad_alloc. Failures are logged. As in GLib, a lack of memory
 * on one of the client's threads ends the process.
 */
class APPLIST_CLIENT_API AppListClient {
public:
    /** An item of the list. Two items are the same item when their unique ids are equal. */
    struct Item {
        std::string uniqueId;    ///< not empty, without a line feed
        std::string visibleName; ///< for display, without a line feed
    };

    /** The outcome of a change or click. */
    enum Outcome {
        ANSWERED = 0,   ///< the partner has replied to every request; also if none was necessary
        MERGED = 1,     ///< the queue was full: the change is sent as part of a later difference
        NO_PARTNER = 2, ///< no partner was connected; a new partner receives the whole list
        REJECTED = 3,   ///< the host's list did not change, and nothing is sent
        FAILED = 4      ///< a request had no reply, an error, or a reply of a wrong type
    };

    /** Called once per change or click, unless the client is destroyed first. */
    using Completion = std::function<void(Outcome outcome, const std::string& reason)>;

    /** A function without arguments, which an executor runs once. */
    using Task = std::function<void()>;

    /**
     * Runs tasks on a thread of the host, one at a time, in the order of the calls. Called on the
     * threads of the client, and by its functions. The executor must return at once, and must not
     * run the task before the return. A task does nothing after the destruction of its client.
     * AppListExecutors.h has executors for a main context of GLib and for a file descriptor,
     * AppListQtExecutor.h for Qt.
     */
    using Executor = std::function<void(Task task)>;

    /**
     * The events; an empty function is not called. Later versions may add members at the end. The
     * library reads only the members that the header of the host has, so that both may differ in
     * version.
     */
    struct Events {
        std::size_t structSize = sizeof(Events); ///< set by the header, not by the host
        std::function<void()> connected;         ///< the partner is ready
        std::function<void()> lost;              ///< the partner or the bus has been lost
        /** The partner has changed the selection; empty without a selection. */
        std::function<void(const std::optional<Item>& selection)> selectionChanged;
        std::function<void()> changed; ///< the partner reports a change of its list
        /** The partner reports a click. The report names no item; clicks concern the selection. */
        std::function<void(const std::optional<Item>& selection)> clicked;
    };

    /** The largest number of changes, and of clicks, that wait for the partner. */
    static constexpr std::size_t QUEUE_LENGTH = 1024;

    /**
     * Starts both threads and returns. If a thread cannot be started, the error is logged, and the
     * client never connects.
     *
     * @param executor must not be empty
     * @param events the handlers of the host, which are copied
     */
    AppListClient(Executor executor, const Events& events);

    /**
     * Ends the connection. No event and no completion starts after the return. Waits at most two
     * seconds in all: for a task on another thread, for waiting requests, and for the end of both
     * threads. A handler that runs on another thread for more than one second may still run after
     * the return, and an error is logged. Threads that still wait for the bus or the partner then
     * end later by themselves, and the change under way ends after its current request; the next
     * client of the process connects after the end of these threads.
     */
    ~AppListClient();

    AppListClient(const AppListClient&) = delete;
    AppListClient& operator=(const AppListClient&) = delete;

    /** @name Reading: a copy of the host's list at the time of the call */
    /** @{ */
    /** @return the items, in list order */
    std::vector<Item> GetItems() const;
    /** @return the number of items */
    std::size_t GetItemsCount() const;
    /** @return the selected item, which is always an item of the list; empty without a selection */
    std::optional<Item> GetSelection() const;
    /** @return whether a partner is ready. The value may be outdated on return. */
    bool IsConnected() const;
    /** @} */

    /** @name Changes
     * Each one changes the host's list and returns. The completion may be empty.
     */
    /** @{ */
    /**
     * Makes the list equal to @p items by the fewest removals, replacements and appends. A large
     * change removes all items and appends @p items. A change is large in these cases:
     * - It has more than three removals and replacements, and no item stays in its place.
     * - It has more than 1,000 removals and replacements.
     * - With n items in both lists together, it has more than 3 + n / 4 removals and replacements.
     *
     * The selection stays if its unique id is in @p items. Rejected if an item is invalid.
     */
    void SetItems(std::vector<Item> items, Completion completion = Completion());
    /** Appends @p items. Rejected as a whole if any item is invalid or in the list. */
    void AddItems(std::vector<Item> items, Completion completion = Completion());
    /** Appends @p item. */
    void AddItemAtEnd(Item item, Completion completion = Completion());
    /** Removes the item, and the selection if it is this item. */
    void RemoveItem(const std::string& uniqueId, Completion completion = Completion());
    /** Replaces the item by @p item, which becomes the selection if it replaces the selection. */
    void ModifyItem(const std::string& uniqueId, Item item, Completion completion = Completion());
    /** Removes all items and the selection. */
    void RemoveAllItems(Completion completion = Completion());
    /** Selects an item of the list. */
    void SetSelection(const std::string& uniqueId, Completion completion = Completion());
    /** Reports a click on an item of the list. */
    void SetClicked(const std::string& uniqueId, Completion completion = Completion());
    /** @} */

private:
    std::shared_ptr<applist_internal::ClientCore> m_core;
};

#endif
