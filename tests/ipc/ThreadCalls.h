// The thread calls of the library, counted and made to fail: the program is linked with
// --wrap=pthread_create and --wrap=pthread_join, which reaches the library's objects and not the
// C++ library's threads.
#ifndef APPLIST_TESTS_THREADCALLS_H
#define APPLIST_TESTS_THREADCALLS_H

inline namespace applist_test {

namespace ThreadCalls {

/** Starts counting from zero and lets creations succeed. */
void Reset();

/** From now on creating a resend thread fails. */
void FailCreation(bool fail);

/** Resend threads that were asked for, started and joined since the reset. */
int Requested();
int Created();
int Joined();

} // namespace ThreadCalls

} // namespace applist_test

#endif
