################################################################################
#
# zelocobalt
#
################################################################################

# A revision that is known to build.
ZELOCOBALT_VERSION = abe05d25eecbaf742d415c3d238878f7ed7fdaf3
# Overridden by ZELOCOBALT_OVERRIDE_SRCDIR in local.mk while developing.
ZELOCOBALT_SITE ?= /srv/git/zelocobalt.git
ZELOCOBALT_SITE_METHOD = git
ZELOCOBALT_LICENSE = Apache-2.0
ZELOCOBALT_LICENSE_FILES = LICENSE
ZELOCOBALT_INSTALL_STAGING = YES

ZELOCOBALT_CONF_OPTS = \
	-DCMAKE_BUILD_TYPE=MinSizeRel \
	-DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON \
	-DZELO_BUILD_ZELOBOX=OFF \
	-DZELO_BUILD_TESTS=OFF \
	-DZELO_CXX11_ABI=$(if $(BR2_PACKAGE_ZELOCOBALT_OLD_STRINGS),OFF,ON)

ifneq ($(call qstrip,$(BR2_PACKAGE_ZELOCOBALT_STB_INCLUDE_DIR)),)
ZELOCOBALT_CONF_OPTS += -DZELO_STB_INCLUDE_DIR=$(BR2_PACKAGE_ZELOCOBALT_STB_INCLUDE_DIR)
endif

$(eval $(cmake-package))
