#!/usr/bin/env bash
# Signs Selvar.app with a code-signing identity from the login keychain, so that macOS keeps
# the microphone, speech-recognition and accessibility grants from one build to the next (it
# ties them to the signature; an ad-hoc signature changes with every build).
#
#   scripts/macos-sign.sh [--hardened] "Selvar Local" [path/to/Selvar.app]
#
# The identity is a certificate name (or its SHA-1) as `security find-identity -v -p codesigning`
# lists it; SELVAR_SIGN_IDENTITY may give it instead. --hardened adds the hardened runtime with
# the microphone entitlement (what notarised distribution needs); a self-signed identity works
# without it. The embedded update framework, if any, is signed first, innermost parts first.
set -euo pipefail
cd "$(dirname "$0")/.."

hardened=0
if [ "${1:-}" = "--hardened" ]; then
  hardened=1
  shift
fi
identity=${1:-${SELVAR_SIGN_IDENTITY:-}}
app=${2:-build/src/Selvar.app}
entitlements=src/platform/macos/bundle/Selvar.entitlements

if [ -z "$identity" ]; then
  echo "usage: $0 [--hardened] IDENTITY [Selvar.app]" >&2
  echo "code-signing identities in your keychains:" >&2
  security find-identity -v -p codesigning >&2 || true
  exit 2
fi
[ -d "$app" ] || { echo "no application at $app (build it first)" >&2; exit 1; }

options=(--force --sign "$identity" --timestamp=none)
app_options=("${options[@]}")
if [ $hardened -eq 1 ]; then
  options+=(--options runtime)
  app_options=("${options[@]}" --entitlements "$entitlements")
fi

sparkle="$app/Contents/Frameworks/Sparkle.framework"
if [ -d "$sparkle" ]; then
  version="$sparkle/Versions/Current"
  for part in "$version/XPCServices/Installer.xpc" "$version/XPCServices/Downloader.xpc" \
    "$version/Autoupdate" "$version/Updater.app"; do
    [ -e "$part" ] || continue
    # The downloader service carries entitlements of its own.
    codesign "${options[@]}" --preserve-metadata=entitlements "$part"
  done
  codesign "${options[@]}" "$sparkle"
fi

codesign "${app_options[@]}" "$app"
codesign --verify --strict --verbose=2 "$app"
echo "designated requirement:"
codesign --display --requirements - "$app" 2>&1 | sed -n 's/^designated => /  /p'
