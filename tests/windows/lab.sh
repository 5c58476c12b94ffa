#!/usr/bin/env bash
# hopr.exe under Wine inside a lab client namespace. Wine's sockets live in its server's
# namespace, so the run gets a prefix (and so a server) of its own, started inside the lab.
# Wine finds the lab adapter and its gateway, then refuses the listener's receive-all mode
# (SIO_RCVALL, WSAEOPNOTSUPP): the run must end on that documented failure, exit 255.
# Usage: lab.sh HOPR_EXE LAB_SCRIPT   (WINEPREFIX set to an initialised prefix; needs root)
set -euo pipefail

exe=$1 lab=$2
if [ "$(id -u)" -ne 0 ]; then
  [ "${CI:-}" = "true" ] && { echo "lab tests must run as root in CI" >&2; exit 1; }
  echo "skipped: the lab needs root"; exit 77
fi
name="w$$"
work=$(mktemp -d)
cleanup() {
  WINEPREFIX="$work/prefix" wineserver -k 2>/dev/null || true
  "$lab" down "$name" >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT
cp -al "$WINEPREFIX" "$work/prefix"  # hard links: a new prefix in a moment
cp "$exe" "$work/hopr.exe"
"$lab" up "$name" --routers 2 >/dev/null

set +e
out=$("$lab" exec "$name" env WINEPREFIX="$work/prefix" WINEDEBUG=-all \
  wine "$work/hopr.exe" test 198.18.3.1 -p 80 -r 1 -t 1 -u 2 -l c 2>&1 | tr -d '\r')
rc=${PIPESTATUS[0]}
set -e

fail() { echo "FAIL: $*" >&2; echo "$out" >&2; exit 1; }
[ "$rc" -eq 255 ] || fail "exit code $rc"
grep -qF 'Found the following IPs for interface 0: 198.18.1.2' <<<"$out" || fail "lab adapter"
grep -qF 'Found the following gateways for interface 0: 198.18.1.1' <<<"$out" || fail "lab gateway"
grep -qF 'Attempting to bind listener to 198.18.1.2' <<<"$out" || fail "listener address"
grep -qF 'WSAIoctl() failed -->' <<<"$out" || fail "receive-all failure"
grep -qF '(error code 0X273D)' <<<"$out" || fail "WSAEOPNOTSUPP"
echo "hopr.exe in the lab under Wine: ended on receive-all as expected"
