// A plugin that uses the library; the host that loads it does not.
#include <applist/AppListProxy.h>

extern "C" {
__attribute__((visibility("default"))) AppListProxy* MakeProxy() {
    return new AppListProxy();
}
__attribute__((visibility("default"))) void DestroyProxy(AppListProxy* proxy) {
    delete proxy;
}
}
