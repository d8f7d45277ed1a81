#!/usr/bin/env bash
# sysroot.sh SUITE DIRECTORY PACKAGE...: unpacks the armhf packages of a Debian release, as root of another C library.
# The machine's own package source supplies them; nothing is installed.
set -euo pipefail
suite=$1 directory=$2
shift 2
[ ! -e "$directory/complete" ] || exit 0
rm -rf "$directory"
state=$directory/apt
mkdir -p "$state"/{lists/partial,archives/partial} "$directory/packages"
touch "$state/status"
# shellcheck disable=SC2016 # the fields are apt's
source=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' | head -n 1)
echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $source $suite main" >"$state/sources.list"
options=(-o "Dir::Etc::SourceList=$state/sources.list" -o Dir::Etc::SourceParts=/dev/null -o "Dir::State=$state"
  -o "Dir::State::status=$state/status" -o "Dir::Cache=$state" -o APT::Architecture=armhf -o APT::Architectures=armhf
  -o APT::Sandbox::User=root)
apt-get "${options[@]}" update >"$directory/log" 2>&1 || { cat "$directory/log" >&2; exit 1; }
(cd "$directory/packages" && apt-get "${options[@]}" download "$@" >>"$directory/log" 2>&1) ||
  { cat "$directory/log" >&2; exit 1; }
for package in "$directory"/packages/*.deb; do
  dpkg-deb --extract "$package" "$directory"
done
# Links that are meant for the root of a system.
find "$directory/lib" "$directory/usr/lib" -type l -lname '/*' | while read -r link; do
  ln -sfn "$directory$(readlink "$link")" "$link"
done
touch "$directory/complete"
