// Connects a channel class to one model: splits incoming bytes into message id and payload and
// passes both to member functions of the model.
#ifndef APPLIST_IPC_IPCAPPLIST_H
#define APPLIST_IPC_IPCAPPLIST_H

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <common/Log.h>
#include <ipc/MessageFraming.h>

/**
 * The adapter between a channel class @p Remote (JavaMWDbusRemote) and a @p Model.
 *
 * A registration is an object and one of its member functions. A null object is no registration.
 * The adapter owns no object. Register after the construction of the adapter, and unregister before
 * the destruction of any part of the model: the adapter does not wait for a running call.
 *
 * The message and notification handlers run on the thread that delivers the channel's callbacks,
 * one at a time. The report of "ready" may also come from the channel's resend thread. An exception
 * of the model's methods reaches the channel. Register on one thread. A second registration
 * replaces the first and is valid only before the first delivery.
 */
template <class Remote, class Model>
class IPCApplist : public Remote {
public:
    using MessageMethod = std::vector<char> (Model::*)(int id, std::vector<char>& data);
    using NotificationMethod = void (Model::*)(int id, const std::vector<char>& data);
    using ConnectionReadyMethod = void (Model::*)(const std::string& partner);

    /** Constructs the channel, which joins the bus with @p id and starts the handshake. */
    explicit IPCApplist(std::string id)
        : Remote(std::move(id), typename Remote::HandlersLater()),
          callbackMessageObject(nullptr),
          callbackNotificationObject(nullptr),
          callbackConnectionReadyObject(nullptr) {
        APPLIST_LOG_DEBUG("IPCApplist");
        Remote::StartHandlers();
    }

    ~IPCApplist() override { Remote::StopHandlers(); }

    IPCApplist(const IPCApplist&) = delete;
    IPCApplist& operator=(const IPCApplist&) = delete;

    /**
     * Registers @p method of @p object for messages. The object is the caller's, and must exist
     * until it is unregistered and no call of it runs. The result is the reply, without an id.
     */
    void RegisterOnMessage(Model* object, MessageMethod method) {
        callbackMessageMethod = method;
        callbackMessageObject = object;
    }

    /** Removes the registration of @p object, if it is registered. */
    void UnregisterOnMessage(Model* object) {
        if (Unbind(callbackMessageObject, object)) {
            APPLIST_LOG_INFO("Unregistered callbackMessageObject");
        }
    }

    /** Registers @p method of @p object for notifications, with the same rules. */
    void RegisterOnNotification(Model* object, NotificationMethod method) {
        callbackNotificationMethod = method;
        callbackNotificationObject = object;
    }

    /** Removes the registration of @p object, if it is registered. */
    void UnregisterOnNotification(Model* object) {
        if (Unbind(callbackNotificationObject, object)) {
            APPLIST_LOG_INFO("Unregistered callbackNotificationObject");
        }
    }

    /** Registers @p method of @p object for "ready", reported with the handshake mutex held. */
    void RegisterOnConnectionReady(Model* object, ConnectionReadyMethod method) {
        callbackConnectionReadyMethod = method;
        callbackConnectionReadyObject = object;
    }

    /** Removes the registration of @p object, if it is registered. */
    void UnregisterOnConnectionReady(Model* object) {
        if (Unbind(callbackConnectionReadyObject, object)) {
            APPLIST_LOG_INFO("Unregistered callbackConnectionReadyObject");
        }
    }

    /**
     * Returns an empty vector when the message has no id (logged as an error) or no object is
     * registered (logged as information).
     */
    std::vector<char> HandleMessage(std::vector<char>& data) override {
        APPLIST_LOG_DEBUG("IPC HandleMessage");
        std::int32_t id = 0;
        if (!MessageFraming::RemoveId(data, id)) {
            APPLIST_LOG_ERROR("Data corrupted. Does not contain message id.");
            return {};
        }
        Model* const object = callbackMessageObject;
        if (object == nullptr) {
            APPLIST_LOG_INFO("callbackMessageObject object is NULL");
            return {};
        }
        return (object->*callbackMessageMethod)(id, data);
    }

    /**
     * Drops a notification without an id (logged as the same error) or without a registered object
     * (logged as information).
     */
    void HandleNotification(std::vector<char>& data) override {
        APPLIST_LOG_DEBUG("IPC HandleNotification");
        std::int32_t id = 0;
        if (!MessageFraming::RemoveId(data, id)) {
            APPLIST_LOG_ERROR("Data corrupted. Does not contain message id.");
            return;
        }
        Model* const object = callbackNotificationObject;
        if (object == nullptr) {
            APPLIST_LOG_INFO("callbackNotificationObject object is NULL");
            return;
        }
        (object->*callbackNotificationMethod)(id, data);
    }

    /** Passes "ready" to the registered object. The loss of the connection is not forwarded. */
    void HandleConnectionReady(bool ready, const std::string& partner) override {
        APPLIST_LOG_DEBUG("HandleConnectionReady state=%d, partner=%s", ready ? 1 : 0,
                          partner.c_str());
        if (!ready) {
            return;
        }
        Model* const object = callbackConnectionReadyObject;
        if (object == nullptr) {
            return;
        }
        APPLIST_LOG_DEBUG("Calling connection ready callback");
        (object->*callbackConnectionReadyMethod)(partner);
    }

private:
    static bool Unbind(std::atomic<Model*>& bound, Model* object) {
        return bound.compare_exchange_strong(object, nullptr);
    }

    // Each object is atomic and is written after its method. A handler on the loop's thread that
    // reads an object therefore reads its method as well.
    std::atomic<Model*> callbackMessageObject;
    MessageMethod callbackMessageMethod = nullptr;
    std::atomic<Model*> callbackNotificationObject;
    NotificationMethod callbackNotificationMethod = nullptr;
    std::atomic<Model*> callbackConnectionReadyObject;
    ConnectionReadyMethod callbackConnectionReadyMethod = nullptr;
};

#endif
