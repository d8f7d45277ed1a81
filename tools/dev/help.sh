# shellcheck shell=bash
# about: says what there is

packages() { :; }

run() { usage; }
