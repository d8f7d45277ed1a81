SUMMARY = "Bridge between an application container and a set-top box's middleware"
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# Where the sources are is the distribution's to say, for example in local.conf.
ZELOCOBALT_SRC ?= "git:///srv/git/zelocobalt.git;protocol=file;branch=main"
SRC_URI = "${ZELOCOBALT_SRC}"
# A revision that is known to build; a distribution pins its own.
SRCREV ?= "abe05d25eecbaf742d415c3d238878f7ed7fdaf3"
PV = "1.0.0+git${SRCPV}"
S = "${WORKDIR}/git"

inherit cmake

# glibc on 32-bit ARM; the other one is for a desk.
COMPATIBLE_HOST = "(arm|x86_64).*-linux.*"
COMPATIBLE_HOST:libc-musl = "null"

# The headers of the box's support library; empty for the stand-ins that come along.
ZELO_STB_INCLUDE_DIR ?= ""
# OFF for a container that was built with the old string ABI.
ZELO_CXX11_ABI ?= "ON"

EXTRA_OECMAKE = " \
    -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON \
    -DZELO_BUILD_ZELOBOX=OFF \
    -DZELO_BUILD_TESTS=OFF \
    -DZELO_CXX11_ABI=${ZELO_CXX11_ABI} \
    ${@'-DZELO_STB_INCLUDE_DIR=' + d.getVar('ZELO_STB_INCLUDE_DIR') if d.getVar('ZELO_STB_INCLUDE_DIR') else ''} \
"

# The library has no version in its name, because the container loads it by this one.
SOLIBS = ".so"
FILES_SOLIBSDEV = ""

# What the host process supplies is looked up when the container loads the library.
INSANE_SKIP:${PN} += "dev-so"
