# shellcheck shell=bash
# Each mutation still finds its line: one that does not would be missed only when somebody runs them all.
set -euo pipefail

PYTHONDONTWRITEBYTECODE=1 python3 "$ZELO_ROOT/tests/mutants/mutants.py" "$ZELO_ROOT"
