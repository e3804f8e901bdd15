# Included by applist-config.cmake in front of the targets of the component "glib", which is linked to
# the library of the component "client".
include("${CMAKE_CURRENT_LIST_DIR}/applist-client-targets.cmake")
