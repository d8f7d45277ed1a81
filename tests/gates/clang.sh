# shellcheck shell=bash
# Clang, its lock analysis and clang-tidy have nothing to say.
set -euo pipefail

build clang
