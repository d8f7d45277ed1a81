#!/bin/sh
# own-tmp.sh DIRECTORY... -- COMMAND: runs a test with a /tmp of its own, because the path of the messenger's socket is
# fixed and tests run side by side. A DIRECTORY below /tmp stays where it is.
# shellcheck disable=SC2016 # the inner shell expands it
exec unshare --mount sh -c '
  set -e
  mount -t tmpfs tmpfs /mnt
  while [ "$1" != -- ]; do
    case $1 in
    /tmp/*)
      mkdir -p "/mnt/${1#/tmp/}"
      mount --bind "$1" "/mnt/${1#/tmp/}"
      ;;
    esac
    shift
  done
  shift
  mount --move /mnt /tmp
  cd "$PWD"
  exec "$@"' own-tmp "$@"
