#!/bin/bash
# make_prefix.sh <template-folder>
#
# Makes the Wine prefix that every test run copies (run_in_prefix.sh), unless it exists already. A full prefix takes 15
# seconds and 700 MB. Most of it are copies of Wine's own libraries. Only their headers are needed, so a copy of the
# template takes a few milliseconds. Several of these may run at once: one makes it, the others wait.
set -euo pipefail

template=$(realpath -m "${1:?usage: make_prefix.sh <template-folder>}")
recipe=2  # to be raised when this script makes another prefix than before

export WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d' LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY

if ! version=$(wine --version 2>/dev/null); then
  echo "make_prefix.sh: wine is missing (Debian: apt-get install wine64)" >&2
  exit 1
fi
wanted="recipe $recipe, $version"
stamp=$template/vela-template

mkdir -p "$(dirname "$template")"
exec 9>"$template.lock"
flock 9
if [[ -f $stamp && $(<"$stamp") == "$wanted" ]]; then
  exit 0
fi

# It is built under another name and renamed when it is complete, so an existing template is always complete. The
# programs started here must not inherit the lock (9>&-), or a Wine service that still runs would hold it.
export WINEPREFIX=$template.new
trap 'wineserver -k 9>&- 2>/dev/null || true; rm -rf "$template.new"' EXIT
trap 'exit 1' INT TERM
rm -rf "$WINEPREFIX" "$template"
wine wineboot -i </dev/null >/dev/null 2>&1 9>&-

# The Windows version is set here, because Wine's default changes from release to release.
wine winecfg -v win10 </dev/null >/dev/null 2>&1 9>&-
wineserver -k 9>&-  # the registry reaches its files when the server ends

# Services that no test needs make the first start in every copy slower. A debugger that is started at a crash would
# print its own report and wait.
settings=$WINEPREFIX/drive_c/settings.reg
{
  printf 'Windows Registry Editor Version 5.00\r\n\r\n'
  for service in Eventlog FontCache3.0.0.0 LanmanServer MountMgr MSIServer PlugPlay RpcSs Schedule Spooler \
                 StiSvc TermService Winmgmt winebus winehid wuauserv; do
    if grep -qiF "[System\\\\CurrentControlSet\\\\Services\\\\$service]" "$WINEPREFIX/system.reg"; then
      printf '[HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\%s]\r\n"Start"=dword:00000004\r\n\r\n' "$service"
    fi
  done
  printf '[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\AeDebug]\r\n"Debugger"="false"\r\n'
} >"$settings"
wine reg import 'C:\settings.reg' </dev/null >/dev/null 2>&1 9>&-
rm -f "$settings"
wineserver -k 9>&-

# The user's folders are links into the home folder of the host user; tests write and delete there.
find "$WINEPREFIX/drive_c/users" -type l | while IFS= read -r link; do
  rm "$link"
  mkdir "$link"
done

# Wine loads its own libraries from its installation. In the prefix it only reads the headers, to see that the files are
# its own. Links would work as well, but Wine follows them: a program that renames or deletes a file of system32 would
# rename or delete it in the host's Wine.
builtins=
for folder in /usr/lib/x86_64-linux-gnu/wine/x86_64-windows /usr/lib64/wine/x86_64-windows \
              /usr/lib/wine/x86_64-windows /opt/wine-stable/lib64/wine/x86_64-windows; do
  if [[ -d $folder ]]; then
    builtins=$folder
    break
  fi
done
if [[ -n $builtins ]]; then
  find "$WINEPREFIX/drive_c" -type f | while IFS= read -r file; do
    name=$(basename "$file")
    if [[ -f $builtins/$name ]] && cmp -s "$file" "$builtins/$name"; then
      truncate -s '<4096' "$file"
    fi
  done
fi
links=$(find "$WINEPREFIX/drive_c" -type l)
if [[ -n $links ]]; then
  echo "make_prefix.sh: the prefix has links, through which tests could leave it:" >&2
  printf '%s\n' "$links" | head -5 >&2
  exit 1
fi

# Debian's wineserver records here which folder of /tmp holds its sockets; a copy makes its own.
if [[ -f $WINEPREFIX/wineserver ]]; then
  sockets=$(<"$WINEPREFIX/wineserver")
  if [[ $sockets =~ ^wine-[A-Za-z0-9]+$ ]]; then
    rm -rf "/tmp/$sockets"
  fi
  rm -f "$WINEPREFIX/wineserver"
fi

printf '%s\n' "$wanted" >"$WINEPREFIX/vela-template"
mv "$WINEPREFIX" "$template"
trap - EXIT
echo "made $template ($wanted, $(du -sh "$template" | cut -f1))"
