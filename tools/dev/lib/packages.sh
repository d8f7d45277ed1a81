# shellcheck shell=bash
# Which Debian packages a command needs, and how they get onto the machine.

wanted=()
declare -A purpose=()

# needs PACKAGE "what for"
needs() {
  wanted+=("$1")
  purpose[$1]=$2
}

# What the programs are built with.
needs_build() {
  needs g++ "the compiler"
  needs cmake "configures the build"
  needs ninja-build "runs the build"
  needs googletest "the tests' framework, built from its sources"
  needs libcli11-dev "zelobox's command line"
  needs libedit-dev "the prompt of the sample host"
  needs python3-jsonschema "checks the scenarios against their schema"
  needs libxml2-utils "reads a report in a test"
  needs libcpp-httplib-dev "zelobox's page"
  needs pkgconf "finds that"
  needs zlib1g-dev "reads traces that gzip has packed"
  needs nlohmann-json3-dev "zelobox's files and the test vectors"
  needs python3 "runs the tests of the scripts"
}

# What the whole suite is built and run with: a test whose tool is missing fails.
needs_tests() {
  needs_build
  needs abigail-tools "compares the binary interface with the recorded one"
  needs clang "the second compiler of the public header"
  needs python3-pytest "runs the Python package's plugin"
  needs bsdutils "gives a test a terminal"
  needs fish "completes a command line in a test"
  needs zsh "completes a command line in a test"
  needs tshark "shows what Wireshark makes of zelobox's captures"
}

# What the comparisons of the library with others are built with.
needs_benches() {
  needs libbenchmark-dev "measures the parts of the library"
  needs pkgconf "finds what the library is compared with"
  needs libsystemd-dev "to compare with sd-bus"
  needs libdbus-1-dev "to compare with libdbus"
  needs libzmq3-dev "to compare with ZeroMQ"
  needs libnng-dev "to compare with nng"
}

# Prints the wanted packages that are not installed, one per line.
missing_packages() {
  local installed package
  # dpkg-query fails as soon as it does not know one of them; it lists the others all the same.
  installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null || true)
  for package in "${wanted[@]}"; do
    grep --quiet --line-regexp --fixed-strings "installed $package" <<<"$installed" || echo "$package"
  done
}

# Prints what stands before a command that only root may run; fails if there is no way to become root.
root_prefix() {
  if [ "$(id --user)" != 0 ]; then
    command -v sudo >/dev/null || return 1
    # Without a terminal nobody can type a password.
    if [ -t 0 ]; then echo sudo; else sudo --non-interactive true 2>/dev/null && echo "sudo --non-interactive"; fi
  fi
}

# install_missing WHO
install_missing() {
  local missing package prefix command
  if ! command -v dpkg-query >/dev/null; then
    echo "No Debian system: $1 takes it that these are there: ${wanted[*]}" >&2
    return
  fi
  mapfile -t missing < <(missing_packages)
  [ "${#missing[@]}" != 0 ] || return 0
  echo "$1 needs Debian packages that are not installed:"
  for package in "${missing[@]}"; do
    printf '  %-20s %s\n' "$package" "${purpose[$package]}"
  done
  command="apt-get update && apt-get install --yes --no-install-recommends ${missing[*]}"
  if ! prefix=$(root_prefix) || ! install_as_root "$prefix" "$command"; then
    echo "Not installed. Run this as root, then ./dev again:" >&2
    echo "  $command" >&2
    exit 1
  fi
}

# install_as_root PREFIX COMMAND
install_as_root() {
  local log
  log=$(mktemp)
  echo "Installing them ..."
  # The prefix is nothing or sudo with an option.
  # shellcheck disable=SC2086
  if ! $1 env DEBIAN_FRONTEND=noninteractive sh -c "$2" >"$log" 2>&1 </dev/null; then
    tail -n 20 "$log" >&2
    rm "$log"
    return 1
  fi
  rm "$log"
}
