#!/usr/bin/env bash
# hopr.exe under Wine as the agent and an operator meet it: the usage and its exit code, and
# the log beside an executable in a folder whose name is not ASCII (the manifest's UTF-8 code
# page). The lab runs under Wine prove the rest.
# Usage: acceptance.sh HOPR_EXE   (WINEPREFIX set)
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

rc=0
out=$(wine "$1" -h </dev/null 2>/dev/null | tr -d '\r') || rc=$?
[ "$rc" -eq 16 ] || fail "-h exited $rc"
head -n 1 <<<"$out" | grep -q '^Failed to parse arguments: ' || fail "no parse message"
grep -qxF 'Usage: hopr.exe test <Target> --port <Port> --repeats <Repeats> --timeout <Timeout> --max-unknown <MaxUknown> --log <n|c|f|b> [--interface <InterfaceAddress>]' <<<"$out" \
  || fail "usage line"
grep -qxF 'Example: hopr.exe test example.com -p 80 -r 5 -t 2 -u 5 -l f' <<<"$out" || fail "example line"

folder="$work/tëst-日本"
mkdir "$folder"
cp "$1" "$folder/hopr.exe"
rc=0
wine "$folder/hopr.exe" json -l f >/dev/null 2>&1 \
  <<<'{"tests":[],"isSerialised":false,"exitEventName":"","minPort":0,"maxPort":0}' || rc=$?
[ "$rc" -eq 96 ] || fail "run from a non-ASCII folder exited $rc"
grep -qs 'Using stdin arg' "$folder/velmora_hopr.log" || fail "no log in the non-ASCII folder"
echo "hopr.exe acceptance: ok"
