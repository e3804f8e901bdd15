#include "TaskOrder.h"

#ifdef __SANITIZE_THREAD__

#include <QMetaObject>
#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

// Called by the objects of this program in place of Qt's function, which Qt 5.10 to 6.4 have.
bool QMetaObject::invokeMethodImpl(QObject* object, QtPrivate::QSlotObjectBase* slot,
                                   Qt::ConnectionType type, void* result) {
    static const auto original = reinterpret_cast<decltype(&QMetaObject::invokeMethodImpl)>(
        dlsym(RTLD_NEXT, "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBase"
                         "EN2Qt14ConnectionTypeEPv"));
    __tsan_release(object);
    return original(object, slot, type, result);
}

void applist_test::ShowOrderOfPosts(QObject* receiver) {
    __tsan_acquire(receiver);
}

#else

void applist_test::ShowOrderOfPosts(QObject*) {}

#endif
