SUMMARY = "Application list kept in step with a partner process over D-Bus"
SECTION = "libs"
# The source tree states no licence, which a recipe writes as follows.
LICENSE = "CLOSED"

SRC_URI = "file://applist-${PV}.tar.xz"

DEPENDS = "glib-2.0"

inherit cmake pkgconfig

# The users of the two roles on the bus. A group replaces the user of the host.
APPLIST_BUS_HOST_USER ?= "root"
APPLIST_BUS_HOST_GROUP ?= ""
APPLIST_BUS_PARTNER_USER ?= "root"

EXTRA_OECMAKE = "\
    -DBUILD_TESTING=OFF \
    -DAPPLIST_BUILD_GLIB=OFF \
    -DCMAKE_SKIP_INSTALL_RPATH=ON \
    -DAPPLIST_BUS_HOST_USER=${APPLIST_BUS_HOST_USER} \
    -DAPPLIST_BUS_HOST_GROUP=${APPLIST_BUS_HOST_GROUP} \
    -DAPPLIST_BUS_PARTNER_USER=${APPLIST_BUS_PARTNER_USER} \
"

PACKAGECONFIG ??= "tools"
PACKAGECONFIG[tools] = "-DAPPLIST_BUILD_TOOLS=ON,-DAPPLIST_BUILD_TOOLS=OFF,libedit libpcap nlohmann-json"

# A device may replace only the policy.
PACKAGES =+ "${PN}-client ${PN}-tools ${PN}-policy"
FILES:${PN} = "${libdir}/libapplist.so.* ${nonarch_libdir}/systemd/catalog"
FILES:${PN}-client = "${libdir}/libapplist-client.so.*"
FILES:${PN}-dev = "${includedir}/applist-1 ${libdir}/libapplist-client.so ${libdir}/libapplist.so ${libdir}/cmake ${libdir}/pkgconfig ${datadir}/applist ${datadir}/dbus-1/interfaces"
FILES:${PN}-policy = "${datadir}/dbus-1/system.d"
FILES:${PN}-tools = "${bindir}/applistctl ${mandir} ${datadir}/bash-completion"
RDEPENDS:${PN} += "${PN}-policy"
RDEPENDS:${PN}-client += "${PN}-policy"
