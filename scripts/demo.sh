#!/usr/bin/env bash
# demo.sh
#
# Shows VELAutil at work on a small Windows machine below build/demo: each command line, its exit code, its log, and its
# changes on the disk and in the registry. Needs no display, changes no other Wine prefix, leaves no process behind.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
build=$root/build/release
demo=$root/build/demo
fixtures=$build/tests/fixtures

windows=winxp64  # Windows XP Professional x64, which can have all mail clients
user=S-1-5-21-1-2-3-1001
source_folder='C:\Setup'
install_root='C:\Bastion'                # for install and upgrade, which append "Orvane Labs"
product_folder='C:\Bastion\Orvane Labs'  # for the other commands
reload_event='Global\VELA_UPDATE_EVENT_OL'

export WINEPREFIX=$demo/prefix WINEDEBUG=-all LC_ALL=C.UTF-8
# Without Wine's services and desktop, a machine starts in half the time.
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe,services.exe,plugplay.exe,winedevice.exe,explorer.exe,rpcss.exe,svchost.exe,winedbg.exe=d'
unset DISPLAY WAYLAND_DISPLAY

title() {
  printf '\n%s\n%s\n' "$1" "${1//?/=}"
}

say() {
  printf '%s\n' "$@" | fold -s -w 110
}

# Also ends the last line, because the run log does not.
indent() {
  awk '{ sub(/\r$/, ""); print "    " $0 }'
}

# Output goes through a file: a program that keeps running would keep a pipe open.
run_wine() {
  "${fixed_addresses[@]}" wine "$@" </dev/null >"$demo/output" 2>&1
}

# must <what> <command...>
must() {
  if ! "${@:2}"; then
    echo "demo: $1 failed:" >&2
    tail -n 40 "$demo/output" >&2
    exit 1
  fi
}

build_program() {
  mkdir -p "$demo"
  { cmake --preset release -DBUILD_TESTING=ON && cmake --build --preset release --target VELAutil fixtures; } \
    >"$demo/output" 2>&1
}

# A machine with Outlook 2010, the logged-on user, and a second user whose registry is loaded.
make_machine() {
  end_prefix "$WINEPREFIX"
  rm -rf "$WINEPREFIX"
  bash tests/support/make_prefix.sh "$build/tests/prefix" >/dev/null
  cp -a "$build/tests/prefix" "$WINEPREFIX"
  rm -f "$WINEPREFIX/vela-template"
  local drive=$WINEPREFIX/drive_c
  mkdir -p "$drive/VELA" "$drive/Office14"
  cp "$build/VELAutil.exe" "$drive/VELA/"
  cp -a "$fixtures/source" "$drive/Setup"
  printf 'stands for the mail client' >"$drive/Office14/outlook.exe"
  cat >"$demo/world.reg" <<END
Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\VELAutil.exe]
"Version"="$windows"

[HKEY_LOCAL_MACHINE\\Software\\Classes\\Outlook.Application\\CurVer]
@="Outlook.Application.14"

[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Office\\14.0\\Outlook\\InstallRoot]
"Path"="C:\\\\Office14\\\\"

[HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Microsoft\\Office\\14.0\\Outlook\\InstallRoot]
"Path"="C:\\\\Office14\\\\"

[HKEY_LOCAL_MACHINE\\Software\\OrvaneLabs\\CoreAgent\\VELA]

[HKEY_CURRENT_USER\\Identities]
"Last User ID"="{8A5C0001-0000-4000-8000-000000000001}"

[HKEY_USERS\\$user\\Software\\Microsoft]
END
  # The second user's registry exists only while the server runs.
  wineserver -p </dev/null >/dev/null 2>&1
  must 'the import of the demo registry' run_wine reg import "Z:$demo/world.reg"
}

# snapshot <name>: the registry and the files as they are now.
snapshot() {
  must 'the snapshot of the machine' run_wine "$fixtures/MachineState.exe" "Z:$demo/$1.txt"
}

# changes <name before> <name after>
changes() {
  printf '\nChanges of files and registry (- before, + after):\n'
  # Wine itself registers its display.
  diff --unchanged-line-format= --old-line-format='- %L' --new-line-format='+ %L' "$demo/$1.txt" "$demo/$2.txt" |
    grep -v 'Wine.Temporary System Parameters' >"$demo/output" || true
  [[ -s $demo/output ]] || echo nothing >"$demo/output"
  indent <"$demo/output"
}

# step <switch> <destination folder> <title> <what it is about to do>: one run of the program, with all its results.
step() {
  local switch=$1 destination=$2 code from
  title "$3"
  say "$4"
  printf '\n  C:\\VELA\\VELAutil.exe %s %s "%s"\n' "$switch" "$source_folder" "$destination"

  snapshot before
  from=$(stat -c %s "$run_log" 2>/dev/null || echo 0)
  # Linux sees the low 8 bits of an exit code; the command interpreter sees all 32.
  run_wine cmd /v:on /c 'C:\VELA\VELAutil.exe' "$switch" "$source_folder" "$destination" \
    '&' echo exit code '!errorlevel!' || true
  code=$(tr -d '\r' <"$demo/output" | sed -n 's/^exit code //p')
  must 'starting the program' test -n "$code"
  snapshot after

  printf '\nExit code: %d (0x%08x)\n' "$code" "$((code & 0xffffffff))"
  printf '\nRun log (C:\\windows\\Temp\\QRTX_Debug\\vela.log):\n'
  tail -c "+$((from + 1))" "$run_log" | iconv -f latin1 -t utf-8 | sed '1{/^\r*$/d}' | indent
  changes before after
}

# A fake Outlook, which ends at the event that makes the plug-ins load their patterns again.
start_outlook() {
  local tries
  cp "$fixtures/Sleeper.exe" "$WINEPREFIX/drive_c/Office14/OUTLOOK.EXE"
  "${fixed_addresses[@]}" wine 'C:\Office14\OUTLOOK.EXE' "$reload_event" 60 </dev/null >/dev/null 2>&1 &
  outlook=$!
  for ((tries = 0; tries < 100; tries++)); do
    run_wine wmic process get name || true
    if tr -d '\0' <"$demo/output" | grep -q OUTLOOK; then  # it answers in UTF-16
      return
    fi
    sleep 0.1
  done
  echo "demo: the stand-in for Outlook does not start" >&2
  exit 1
}

probe_classes() {
  printf '\nCOM classes of the plug-in modules %s, tried with CoCreateInstance:\n' "$1"
  run_wine "$fixtures/ClassProbe.exe" || true
  indent <"$demo/output"
}

./scripts/setup.sh
# shellcheck source=scripts/stages.sh
source scripts/stages.sh
clean_up_at_exit "end_prefix '$WINEPREFIX'"
fixed_addresses=(setarch -R)  # with random addresses Wine sometimes fails to start a program
setarch -R true 2>/dev/null || fixed_addresses=()
run_log=$WINEPREFIX/drive_c/windows/temp/QRTX_Debug/vela.log

say "VELAutil manages the anti-spam plug-ins of Outlook and other mail clients." \
  "Building it, and creating a Windows machine to try it on (the first time takes a while) ..."
must 'the build' build_program
make_machine

title 'The machine'
say "Wine, set to Windows XP Professional x64, with Outlook 2010 in C:\\Office14, an installation source in $source_folder, and the registries of two users: the user who is logged on, and $user. The mail clients and the plug-in modules are stand-ins that the tests build; the modules are real COM servers."
probe_classes 'before the installation'
snapshot first

step -I "$install_root" 'Install' \
  "Copies the plug-in files of all clients below $install_root, stores where they are, and registers the plug-ins. The anti-spam switch has never been set, so it is set to off."
probe_classes 'after the installation'

step -e "$product_folder" 'Enable' \
  "Enables filtering for the user at the console: creates the user's folders, Outlook's add-in for all users and the start-up values for the monitors of the other clients, and starts the monitors. These stand-ins write a trace file."
printf '\nAccess rights of the users'"'"' folders (Wine stores of an access control list only what Unix modes can express, and only if the folder existed before):\n'
find "$WINEPREFIX/drive_c/ProgramData/Orvane Labs" -type d -printf '%M  ProgramData/Orvane Labs/%P\n' | indent

step -s "$product_folder" 'Status' "Writes the state of the anti-spam switch to the run log."

title 'A new pattern arrives while Outlook runs'
start_outlook
printf 'a newer pattern\n' >"$WINEPREFIX/drive_c/Setup/Common/win32/vela.ptn"
say "Setup\\Common\\win32\\vela.ptn has new contents. OUTLOOK.EXE is running."

step -p "$install_root" 'Upgrade' \
  "Replaces the files whose last-write time differs, and signals the plug-ins in running mail clients to reload engine and pattern."
code=0
wait "$outlook" || code=$?
printf '\nDid Outlook get the event? %s\n' "$( ((code == 0)) && echo yes || echo NO)"

step -r "$install_root" 'Reload' \
  "Signals the plug-ins in running mail clients to reload engine and pattern. No client runs now."

step -d "$product_folder" 'Disable' "Disables filtering, and signals the monitors to exit."

step -s "$product_folder" 'Status once more' "Writes the state of the anti-spam switch to the run log."

step -U "$product_folder" 'Uninstall' \
  "Disables filtering, removes the plug-ins from the clients, and deletes files and the users' data. Filtering is already disabled, so the log reports missing values."
probe_classes 'after the uninstallation'

title 'The machine before and after'
snapshot last
changes first last

title 'Done'
say "This script checks nothing: scripts/test.sh does. The machine is switched off. Its disk stays in build/demo/prefix/drive_c until the next run of this script."
