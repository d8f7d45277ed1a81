#!/bin/sh
# Runs a test with a /tmp of its own: the path of the messenger's socket is fixed, and tests run side by side.
exec unshare --mount sh -c 'mount -t tmpfs tmpfs /tmp && exec "$@"' own-tmp "$@"
