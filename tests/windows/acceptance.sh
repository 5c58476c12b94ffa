#!/usr/bin/env bash
# hopr.exe under Wine as the agent and an operator meet it: the usage and its exit code, an
# empty run, registry values imported with `reg import` steering the log file, and the log
# beside an executable in a folder whose name is not ASCII.
# Usage: acceptance.sh HOPR_EXE   (WINEPREFIX set; the prefix's registry is changed and restored)
set -euo pipefail

exe=$1
work=$(mktemp -d)
trap 'wine reg delete "HKLM\\SOFTWARE\\Velmora" /f >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
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
import() { # import REG_BODY
  printf 'Windows Registry Editor Version 5.00\r\n\r\n%s' "$1" > "$work/settings.reg"
  wine reg delete "HKLM\\SOFTWARE\\Velmora" /f >/dev/null 2>&1 || true
  wine reg import "$(winepath -w "$work/settings.reg")" >/dev/null 2>&1 || fail "reg import"
}
config='[HKEY_LOCAL_MACHINE\SOFTWARE\Velmora\Orvia\Config]\r\n'

run -h </dev/null
[ "$rc" -eq 16 ] || fail "-h exited $rc"
head -n 1 <<<"$out" | grep -q '^Failed to parse arguments: ' || fail "no parse message"
grep -qxF 'Usage: hopr.exe test <Target> --port <Port> --repeats <Repeats> --timeout <Timeout> --max-unknown <MaxUknown> --log <n|c|f|b> [--interface <InterfaceAddress>]' <<<"$out" \
  || fail "usage line"
grep -qxF 'Example: hopr.exe test example.com -p 80 -r 5 -t 2 -u 5 -l f' <<<"$out" || fail "example line"

run json -l n <<<"$empty_line"
[ "$rc" -eq 96 ] || fail "empty tests exited $rc"
[ -z "$out" ] || fail "empty run printed: $out"

# A warning level keeps the information lines out of the file.
import "$(printf "$config"'"MinimumLogLevel"="warn"\r\n')"
run json -l f <<<"$empty_line"
[ "$rc" -eq 96 ] || fail "warn run exited $rc"
! grep -qs 'Using stdin arg' "$work/velmora_hopr.log" || fail "info line written at warn level"

# Small files rotate into at most two numbered copies.
import "$(printf "$config"'"MaxLogFileSize"=dword:00000100\r\n"MaxLogFiles"=dword:00000002\r\n')"
for _ in 1 2 3 4 5 6; do
  run json -l f <<<"$empty_line"
  [ "$rc" -eq 96 ] || fail "rotation run exited $rc"
done
for f in velmora_hopr.log velmora_hopr.1.log velmora_hopr.2.log; do
  grep -q 'Using stdin arg' "$work/$f" || fail "$f missing or empty"
done
[ ! -e "$work/velmora_hopr.3.log" ] || fail "a third numbered file"
# The manifest's UTF-8 code page: a log beside an executable whose folder name is not ASCII.
wine reg delete "HKLM\\SOFTWARE\\Velmora" /f >/dev/null 2>&1 || true
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
