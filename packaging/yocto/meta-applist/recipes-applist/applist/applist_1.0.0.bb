SUMMARY = "Application list kept in step with a partner process over D-Bus"
SECTION = "libs"
LICENSE = "LicenseRef-NotYetLicensed"
LIC_FILES_CHKSUM = "file://LICENSES/LicenseRef-NotYetLicensed.txt;md5=3ac392b64dbca6754b805116d6dfbb5b"
# A text outside of the common licences of OpenEmbedded.
NO_GENERIC_LICENSE[LicenseRef-NotYetLicensed] = "LICENSES/LicenseRef-NotYetLicensed.txt"

SRC_URI = "\
    file://applist-${PV}.tar.xz \
    file://run-ptest \
"

DEPENDS = "glib-2.0"

inherit cmake pkgconfig ptest useradd

# The users of the two roles on the bus, which the policy's package creates. A group replaces the
# user of the host.
APPLIST_BUS_HOST_USER ?= "launcher"
APPLIST_BUS_HOST_GROUP ?= ""
APPLIST_BUS_PARTNER_USER ?= "javamw"

EXTRA_OECMAKE = "\
    -DBUILD_TESTING=OFF \
    -DAPPLIST_QT_VERSION=OFF \
    -DCMAKE_SKIP_INSTALL_RPATH=ON \
    -DAPPLIST_BUS_HOST_USER=${APPLIST_BUS_HOST_USER} \
    -DAPPLIST_BUS_HOST_GROUP=${APPLIST_BUS_HOST_GROUP} \
    -DAPPLIST_BUS_PARTNER_USER=${APPLIST_BUS_PARTNER_USER} \
"

PACKAGECONFIG ??= "tools"
PACKAGECONFIG[tools] = "-DAPPLIST_BUILD_TOOLS=ON,-DAPPLIST_BUILD_TOOLS=OFF,libedit libpcap nlohmann-json"

# A device may replace only the policy.
PACKAGES =+ "${PN}-client ${PN}-glib ${PN}-tools ${PN}-policy"
FILES:${PN} = "${libdir}/libapplist.so.* ${nonarch_libdir}/systemd/catalog"
FILES:${PN}-client = "${libdir}/libapplist-client.so.*"
FILES:${PN}-glib = "${libdir}/libapplist-glib.so.* ${libdir}/girepository-1.0"
FILES:${PN}-dev = "${includedir}/applist-1 ${libdir}/libapplist-client.so ${libdir}/libapplist-glib.so ${libdir}/libapplist.so ${libdir}/cmake ${libdir}/pkgconfig ${datadir}/applist ${datadir}/dbus-1/interfaces ${datadir}/gir-1.0"
FILES:${PN}-policy = "${datadir}/dbus-1/system.d"
FILES:${PN}-tools = "${bindir}/applistctl ${mandir} ${datadir}/bash-completion"
RDEPENDS:${PN} += "${PN}-policy"
RDEPENDS:${PN}-client += "${PN}-policy"
RDEPENDS:${PN}-ptest += "${@bb.utils.contains('PACKAGECONFIG', 'tools', '${PN}-tools', '', d)} dbus"

# The class ignores users that exist already, such as root.
USERADD_PACKAGES = "${PN}-policy"
GROUPADD_PARAM:${PN}-policy = "${@'--system ' + d.getVar('APPLIST_BUS_HOST_GROUP') if d.getVar('APPLIST_BUS_HOST_GROUP') else ''}"
USERADD_PARAM:${PN}-policy = "\
    --system --user-group --no-create-home --home-dir /nonexistent --shell ${base_sbindir}/nologin ${APPLIST_BUS_HOST_USER}; \
    --system --user-group --no-create-home --home-dir /nonexistent --shell ${base_sbindir}/nologin ${APPLIST_BUS_PARTNER_USER} \
"
