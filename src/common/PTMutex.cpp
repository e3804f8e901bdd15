#include <common/PTMutex.h>

PTMutex::PTMutex() : m_mutex() {
    pthread_mutex_init(&m_mutex, nullptr);
}

PTMutex::~PTMutex() {
    pthread_mutex_destroy(&m_mutex);
}

void PTMutex::Lock() {
    pthread_mutex_lock(&m_mutex);
}

bool PTMutex::TryLock() {
    return pthread_mutex_trylock(&m_mutex) == 0;
}

void PTMutex::Unlock() {
    pthread_mutex_unlock(&m_mutex);
}
