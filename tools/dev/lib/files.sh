# shellcheck shell=bash
# Which files the gates look at: the checkout without what was built.

# sources FIND-ARGUMENT...
sources() {
  find "$ZELO_ROOT" -path "$ZELO_BUILD" -prune -o -path "$ZELO_ROOT/.git" -prune -o -type f "$@" -print | sort
}

cxx_sources() { sources \( -name '*.cpp' -o -name '*.h' \); }

# Everything that a shell runs, whatever its name.
shell_scripts() {
  sources \( -name '*.sh' -o -exec grep --quiet --max-count=1 --binary-files=without-match '^#!.*\<bash$' {} \; \)
}
