# shellcheck shell=bash
# GCC has nothing to say about library, desk box and tests.
set -euo pipefail

build gcc
