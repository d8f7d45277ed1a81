# shellcheck shell=bash
# about: tests zelobox's page in a browser; --screenshots takes the pictures of the documentation instead

packages() {
  needs_build
  needs chromium "the browser"
  # Some have them from elsewhere.
  command -v node >/dev/null || needs nodejs "runs the tests"
  command -v npm >/dev/null || needs npm "fetches what drives the browser"
}

# What drives the browser, as the lock file says, in build/browser.
install_driver() {
  local directory=$ZELO_BUILD/browser source=$ZELO_ROOT/tests/zelobox/browser
  if ! cmp --quiet "$source/package-lock.json" "$directory/installed-lock.json"; then
    mkdir -p "$directory"
    cp "$source/package.json" "$source/package-lock.json" "$source/.npmrc" "$directory"
    npm --prefix "$directory" --no-progress --loglevel=error ci
    cp "$source/package-lock.json" "$directory/installed-lock.json"
  fi
}

# One file after the other: the messenger's socket is one for the machine.
run_browser_tests() {
  local file status=0
  for file in "$ZELO_ROOT"/tests/zelobox/browser/*.test.js; do
    node --test-reporter=spec "$file" || status=1
  done
  return "$status"
}

take_screenshots() {
  needs pngquant "makes the pictures small"
  install_missing "./dev browser --screenshots"
  node "$ZELO_ROOT/tests/zelobox/browser/screenshots.js"
  pngquant --force --ext .png --skip-if-larger --speed 1 "$ZELO_ROOT"/docs/images/page-*.png
}

run() {
  if [[ $# != 0 && $* != --screenshots ]]; then
    echo "Usage: ./dev browser [--screenshots]" >&2
    exit 2
  fi
  build default zelobox
  install_driver
  if [ $# = 0 ]; then
    run_browser_tests
  else
    take_screenshots
  fi
}
