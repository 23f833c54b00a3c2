#!/usr/bin/env bash
# Builds the Debian package from this build tree, checks it the way Debian
# and the desktops will (lintian, the desktop entry and AppStream
# validators), unpacks it into a scratch root and runs the installed program's
# self-test from there.
#   check_package.sh BUILD_DIR SOURCE_DIR APP_ID VERSION QT_QML_DIR QMLIMPORTSCANNER
set -euo pipefail
build=$1 source=$2 app_id=$3 version=$4 qml_dir=$5 importscanner=$6

fail() { echo "FAIL: $*" >&2; exit 1; }
for need in cpack:cmake dpkg-shlibdeps:dpkg-dev file:file lintian:lintian appstreamcli:appstream \
  desktop-file-validate:desktop-file-utils python3:python3; do
  command -v "${need%:*}" >/dev/null || fail "${need%:*} is missing: install the Debian package ${need#*:}"
done

work=$build/package-check
rm -rf "$work" && mkdir -p "$work"

# CPack installs what the build made into its own staging folder; nothing
# is compiled again.
(cd "$build" && cpack --config CPackConfig.cmake -B "$work/out") >"$work/cpack.log" 2>&1 \
  || { cat "$work/cpack.log" >&2; fail "cpack could not build the package"; }
debs=("$work"/out/*.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || fail "expected one .deb in $work/out"
deb=${debs[0]}
echo "package: $(basename "$deb"), $(stat -c %s "$deb") bytes"
echo "Depends: $(dpkg-deb -f "$deb" Depends)"

# Errors fail; warnings are shown so that they get noticed.
echo "lintian:"
lintian --fail-on error --tag-display-limit 0 "$deb" || fail "lintian found errors"

root=$work/root
dpkg-deb -x "$deb" "$root"
for f in usr/bin/tarnwick usr/bin/tarnwick-nowplaying \
  "usr/share/applications/$app_id.desktop" "usr/share/metainfo/$app_id.metainfo.xml" \
  "usr/share/icons/hicolor/scalable/apps/$app_id.svg" "usr/share/icons/hicolor/symbolic/apps/$app_id-symbolic.svg" \
  "usr/share/icons/hicolor/48x48/apps/$app_id.png" "usr/share/icons/hicolor/256x256/apps/$app_id.png" \
  usr/share/man/man1/tarnwick.1.gz usr/share/man/man1/tarnwick-nowplaying.1.gz \
  usr/share/doc/tarnwick/copyright usr/share/doc/tarnwick/changelog.gz \
  $([ "$(dpkg --print-architecture)" = amd64 ] && echo usr/lib/x86_64-linux-gnu/tarnwick/tarnwick-face-finder-avx2.so); do
  [ -e "$root/$f" ] || fail "the package lacks /$f"
done

desktop-file-validate "$root/usr/share/applications/$app_id.desktop" || fail "desktop entry is not valid"
grep -qx "Icon=$app_id" "$root/usr/share/applications/$app_id.desktop" || fail "the desktop entry names another icon than $app_id"
# --strict fails on warnings and hints too; only pedantic notes may remain.
appstreamcli validate --no-net --strict "$root/usr/share/metainfo/$app_id.metainfo.xml" || fail "metainfo is not valid"
appstreamcli validate-tree --no-net --strict "$root" || fail "the installed tree does not hold together for AppStream"

# A version bump needs a new release entry and a changelog entry.
zcat "$root/usr/share/doc/tarnwick/changelog.gz" | head -1 | grep -q "^tarnwick ($version) " \
  || fail "the Debian changelog's latest entry is not version $version"
grep -m1 -o '<release [^>]*>' "$root/usr/share/metainfo/$app_id.metainfo.xml" | grep -q " version=\"$version\"" \
  || fail "metainfo's latest release is not version $version"

# The QML modules are loaded at run time, so dpkg-shlibdeps cannot see them:
# every module the views import must come from a package the .deb depends on.
"$importscanner" -rootPath "$source/src" -importPath "$qml_dir" >"$work/imports.json"
depends=$(dpkg-deb -f "$deb" Depends | tr ',' '\n' | sed 's/^ *//; s/[ (].*//; /^$/d')
python3 -c 'import json, sys
for m in json.load(open(sys.argv[1])):
    if m.get("type") == "module" and m.get("path"):
        print(m["path"] + "/qmldir")' "$work/imports.json" | sort -u | while read -r qmldir; do
  owner=$(dpkg -S "$qmldir" 2>/dev/null | cut -d: -f1) || fail "no Debian package owns $qmldir"
  grep -qx "$owner" <<<"$depends" || fail "the views import $(dirname "$qmldir") from $owner, which the package does not depend on"
done

# The installed program, run from the unpacked root, loads every view.
QT_QPA_PLATFORM=offscreen "$root/usr/bin/tarnwick" --self-test || fail "the installed tarnwick failed its self-test"
echo "package checked"
