################################################################################
#
# applist
#
################################################################################

APPLIST_VERSION = 1.0.0
APPLIST_SOURCE = applist-$(APPLIST_VERSION).tar.xz
# The archive is in the folder of this file.
APPLIST_SITE = $(APPLIST_PKGDIR)
APPLIST_SITE_METHOD = file
APPLIST_LICENSE = LicenseRef-NotYetLicensed
APPLIST_LICENSE_FILES = LICENSES/LicenseRef-NotYetLicensed.txt
# legal-info leaves the archive out.
APPLIST_REDISTRIBUTE = NO
APPLIST_INSTALL_STAGING = YES
APPLIST_DEPENDENCIES = host-pkgconf libglib2

APPLIST_CONF_OPTS = \
	-DBUILD_TESTING=OFF \
	-DAPPLIST_QT_VERSION=OFF \
	-DCMAKE_SKIP_INSTALL_RPATH=ON \
	-DAPPLIST_BUS_HOST_USER=$(call qstrip,$(BR2_PACKAGE_APPLIST_BUS_HOST_USER)) \
	-DAPPLIST_BUS_HOST_GROUP=$(call qstrip,$(BR2_PACKAGE_APPLIST_BUS_HOST_GROUP)) \
	-DAPPLIST_BUS_PARTNER_USER=$(call qstrip,$(BR2_PACKAGE_APPLIST_BUS_PARTNER_USER))

ifeq ($(BR2_PACKAGE_APPLIST_TOOLS),y)
APPLIST_CONF_OPTS += -DAPPLIST_BUILD_TOOLS=ON
APPLIST_DEPENDENCIES += json-for-modern-cpp libpcap
ifeq ($(BR2_PACKAGE_LIBEDIT),y)
APPLIST_DEPENDENCIES += libedit
endif
else
APPLIST_CONF_OPTS += -DAPPLIST_BUILD_TOOLS=OFF
endif

$(eval $(cmake-package))
