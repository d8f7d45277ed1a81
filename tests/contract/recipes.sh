#!/bin/bash
# recipes.sh SOURCE_DIR: the recipes in packaging/ are well-formed and set only options that the build has.
set -eu
cd "$1"
status=0
while read -r option; do
    grep -qE "^(option|set)\($option " CMakeLists.txt cmake/Library.cmake ||
        { echo "no such option: $option"; status=1; }
done < <(grep -rhoE '\-DZELO_[A-Z0-9_]+' packaging/yocto packaging/buildroot | sed 's/^-D//' | sort -u)
version=$(sed -n 's/^project(zelocobalt VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[ -f "packaging/yocto/zelocobalt_$version.bb" ] || { echo "no recipe zelocobalt_$version.bb"; status=1; }
grep -q "LICENSE;md5=$(md5sum <LICENSE | cut -d' ' -f1)" packaging/yocto/*.bb ||
    { echo "the recipe has another LICENSE's sum"; status=1; }
(sed -n 's/^sha256  \([0-9a-f]*  .*\)/\1/p' packaging/buildroot/zelocobalt/zelocobalt.hash |
    sha256sum --check --quiet) || { echo "zelocobalt.hash is not of these files"; status=1; }
# Both take the same revision, and the repository has it; an unpacked release has no repository to look into.
revision=$(sed -n 's/^SRCREV ?= "\([0-9a-f]\{40\}\)"$/\1/p' packaging/yocto/*.bb)
grep -q "^ZELOCOBALT_VERSION = $revision$" packaging/buildroot/zelocobalt/zelocobalt.mk ||
    { echo "zelocobalt.mk and the .bb are not of one revision"; status=1; }
if [ "$(git rev-parse --is-shallow-repository 2>/dev/null)" = false ]; then
    git merge-base --is-ancestor "$revision" HEAD || { echo "no revision $revision in the history"; status=1; }
fi
# Make reads the whole of it with stand-ins for what Buildroot defines.
# shellcheck disable=SC2016 # the variables are make's
printf 'qstrip = $(strip $(subst ",,$(1)))\ncmake-package = $(info $(ZELOCOBALT_CONF_OPTS))\n%s\nall:\n' \
    'include packaging/buildroot/zelocobalt/zelocobalt.mk' | make -s -f - all >/dev/null || status=1
awk '/^(if|menu)/ {n++} /^(endif|endmenu)/ {n--} END {exit n != 0}' packaging/buildroot/zelocobalt/Config.in ||
    { echo "Config.in: if and endif do not match"; status=1; }
# Every line of a BitBake recipe is a comment, an assignment, an inherit, or the continuation of one.
awk '!continued && !/^$/ && !/^#/ && !/^inherit / && !/^[A-Za-z0-9_:${}-]+ *(=|\?=|\+=|:=) *"/ {
         print FILENAME ": " $0
         bad = 1
     }
     { continued = /\\$/ } END { exit bad }' packaging/yocto/*.bb || status=1
exit $status
