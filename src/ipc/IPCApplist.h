// Turns a channel class into the endpoint of one model: takes the message id off whatever comes in
// and hands id and payload to member functions of the model.
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
 * A binding is an object and one of its member functions; it is set exactly when the object is not
 * null. The adapter owns no object. Bind after the adapter is built and unbind before anything of
 * the model is torn down: a call into the model that is already running is not waited for.
 *
 * The message and notification handlers run on the thread that delivers the channel's callbacks,
 * one at a time; "ready" may also come on the channel's resend thread. What a method of the model
 * throws goes on to the channel. Registering is done on one thread; a second registration takes the
 * place of the first, and only before the first delivery.
 */
template <class Remote, class Model>
class IPCApplist : public Remote {
public:
    using MessageMethod = std::vector<char> (Model::*)(int id, std::vector<char>& data);
    using NotificationMethod = void (Model::*)(int id, const std::vector<char>& data);
    using ConnectionReadyMethod = void (Model::*)(const std::string& partner);

    /** Builds the channel with @p id: it joins the bus and starts the handshake. */
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
     * From here on messages go to @p method of @p object, which stays the caller's and must live
     * until it is unregistered and no call into it runs. Its result is the reply, without an id.
     */
    void RegisterOnMessage(Model* object, MessageMethod method) {
        callbackMessageMethod = method;
        callbackMessageObject = object;
    }

    /** Unbinds @p object if it is the one that is bound. */
    void UnregisterOnMessage(Model* object) {
        if (Unbind(callbackMessageObject, object)) {
            APPLIST_LOG_INFO("Unregistered callbackMessageObject");
        }
    }

    /** The same for notifications. */
    void RegisterOnNotification(Model* object, NotificationMethod method) {
        callbackNotificationMethod = method;
        callbackNotificationObject = object;
    }

    /** Unbinds @p object if it is the one that is bound. */
    void UnregisterOnNotification(Model* object) {
        if (Unbind(callbackNotificationObject, object)) {
            APPLIST_LOG_INFO("Unregistered callbackNotificationObject");
        }
    }

    /** The same for "ready", which comes with the channel's handshake mutex held. */
    void RegisterOnConnectionReady(Model* object, ConnectionReadyMethod method) {
        callbackConnectionReadyMethod = method;
        callbackConnectionReadyObject = object;
    }

    /** Unbinds @p object if it is the one that is bound. */
    void UnregisterOnConnectionReady(Model* object) {
        if (Unbind(callbackConnectionReadyObject, object)) {
            APPLIST_LOG_INFO("Unregistered callbackConnectionReadyObject");
        }
    }

    /**
     * Answers a message without an id (logged as an error), or that nobody is bound for (logged as
     * information), with an empty vector.
     */
    std::vector<char> HandleMessage(std::vector<char>& data) override {
        APPLIST_LOG_DEBUG("IPC HandleMessage");
        std::int32_t id = 0;
        if (!MessageFraming::TakeId(data, id)) {
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

    /** Drops a notification without an id, or that nobody is bound for; logged in the same way. */
    void HandleNotification(std::vector<char>& data) override {
        APPLIST_LOG_DEBUG("IPC HandleNotification");
        std::int32_t id = 0;
        if (!MessageFraming::TakeId(data, id)) {
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

    /** Passes "ready" on; the loss of the connection is not forwarded. */
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

    // The objects are atomic, and each is written after its method, so that a handler in the
    // loop's thread which sees an object sees its method too.
    std::atomic<Model*> callbackMessageObject;
    MessageMethod callbackMessageMethod = nullptr;
    std::atomic<Model*> callbackNotificationObject;
    NotificationMethod callbackNotificationMethod = nullptr;
    std::atomic<Model*> callbackConnectionReadyObject;
    ConnectionReadyMethod callbackConnectionReadyMethod = nullptr;
};

#endif
