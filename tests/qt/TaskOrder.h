// ThreadSanitizer does not see into Qt, whose event loop runs the tasks of other threads in order.
// The applications of these tests show this order. Other builds have no such code.
#ifndef APPLIST_TESTS_TASKORDER_H
#define APPLIST_TESTS_TASKORDER_H

#include <QObject>

inline namespace applist_test {

/** Called before an event of @p receiver: all earlier posts to @p receiver are in order with it. */
void ShowOrderOfPosts(QObject* receiver);

/** @p Base is a class of Qt for an application. */
template <typename Base>
class OrderedApplication : public Base {
public:
    using Base::Base;

    bool notify(QObject* receiver, QEvent* event) override {
        ShowOrderOfPosts(receiver);
        return Base::notify(receiver, event);
    }
};

} // namespace applist_test

#endif
