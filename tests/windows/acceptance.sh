#!/usr/bin/env bash
# hopr.exe under Wine as the agent and an operator meet it: the usage and its exit code, and
# the log beside an executable in a folder whose name is not ASCII. The lab runs
# under Wine prove the registry's log settings.
# Usage: acceptance.sh HOPR_EXE   (WINEPREFIX set)
set -euo pipefail

exe=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The log file lives beside the executable: give each run a directory of its own.
cp "$exe" "$work/hopr.exe"
empty_line='{"tests":[],"isSerialised":false,"exitEventName":"","minPort":0,"maxPort":0}'

fail() { echo "FAIL: $*" >&2; exit 1; }
run() { # run ARGS... ; stdin from the caller; sets out and rc, line ends normalised
  set +e
  out=$(wine "$work/hopr.exe" "$@" 2>"$work/stderr" | tr -d '\r')
  rc=${PIPESTATUS[0]}
  set -e
}

run -h </dev/null
[ "$rc" -eq 16 ] || fail "-h exited $rc"
head -n 1 <<<"$out" | grep -q '^Failed to parse arguments: ' || fail "no parse message"
grep -qxF 'Usage: hopr.exe test <Target> --port <Port> --repeats <Repeats> --timeout <Timeout> --max-unknown <MaxUknown> --log <n|c|f|b> [--interface <InterfaceAddress>]' <<<"$out" \
  || fail "usage line"
grep -qxF 'Example: hopr.exe test example.com -p 80 -r 5 -t 2 -u 5 -l f' <<<"$out" || fail "example line"

# The manifest's UTF-8 code page: a log beside an executable whose folder name is not ASCII.
unicode_dir="$work/tëst-日本"
mkdir "$unicode_dir"
cp "$exe" "$unicode_dir/hopr.exe"
set +e
wine "$unicode_dir/hopr.exe" json -l f <<<"$empty_line" >/dev/null 2>&1
rc=$?
set -e
[ "$rc" -eq 96 ] || fail "run from a non-ASCII folder exited $rc"
grep -qs 'Using stdin arg' "$unicode_dir/velmora_hopr.log" || fail "no log in the non-ASCII folder"
echo "hopr.exe acceptance: ok"
