################################################################################
#
# vandel
#
################################################################################

VANDEL_VERSION = 1.0.0
VANDEL_SITE = $(BR2_EXTERNAL_VANDEL_PATH)/../..
VANDEL_SITE_METHOD = local
VANDEL_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude='/build*'
# No licence has been chosen yet.
VANDEL_LICENSE = UNLICENSED
VANDEL_REDISTRIBUTE = NO
VANDEL_DEPENDENCIES = host-pkgconf hiredis libxml2
VANDEL_CONF_OPTS = -DVANDEL_TESTS=OFF
VANDEL_COMPONENTS = shell

ifeq ($(BR2_PACKAGE_VANDEL_HOST),y)
VANDEL_DEPENDENCIES += libyang
VANDEL_CONF_OPTS += -DVANDEL_HOST=ON
VANDEL_COMPONENTS += host
else
VANDEL_CONF_OPTS += -DVANDEL_HOST=OFF
endif

define VANDEL_INSTALL_TARGET_CMDS
	$(foreach component,$(VANDEL_COMPONENTS),\
		DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(VANDEL_BUILDDIR) \
			--component $(component)$(sep))
endef

$(eval $(cmake-package))
