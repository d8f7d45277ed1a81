# shellcheck shell=bash
# about: tests zelobox's page in a browser; --screenshots takes the documentation's pictures, --load measures it

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
  needs ffmpeg "makes the animated one"
  install_missing "./dev browser --screenshots"
  node "$ZELO_ROOT/tests/zelobox/browser/screenshots.js"
  pngquant --force --ext .png --skip-if-larger --speed 1 "$ZELO_ROOT"/docs/images/page-*.png
  local palette='split[a][b];[a]palettegen=max_colors=200[p];[b][p]paletteuse=dither=bayer:bayer_scale=5'
  ffmpeg -y -loglevel error -f concat -i "$ZELO_BUILD/browser/click/list.txt" \
    -vf "scale=900:-1:flags=lanczos,$palette:diff_mode=rectangle" \
    "$ZELO_ROOT/docs/images/click.gif"
}

run() {
  if [[ $# != 0 && ! $* =~ ^--(screenshots|load)$ ]]; then
    echo "Usage: ./dev browser [--screenshots | --load]" >&2
    exit 2
  fi
  build default zelobox
  install_driver
  if [ $# = 0 ]; then
    run_browser_tests
  elif [ "$1" = --load ]; then
    node "$ZELO_ROOT/tests/zelobox/browser/load.js"
  else
    take_screenshots
  fi
}
