#!/usr/bin/env bash
# Makes the Debian package from a configured and built tree and checks its file list: the
# command in /usr/bin, the plug-in in /usr/lib/hordera (where the command looks for it), the
# documents in /usr/share/doc/hordera, and nothing else. Usage: scripts/check-package.sh BUILD_DIR
set -euo pipefail
build=${1:?usage: scripts/check-package.sh BUILD_DIR}
command -v dpkg-deb > /dev/null || { echo "error: dpkg-deb is missing" >&2; exit 1; }
(cd "$build" && cpack -G DEB > cpack.log 2>&1) ||
  { cat "$build/cpack.log"; echo "error: making the package failed" >&2; exit 1; }
package=$(ls -t "$build"/hordera_*.deb | head -n 1)
files=$(dpkg-deb -c "$package" | awk '{print $6}')
status=0
for wanted in ./usr/bin/hordera ./usr/lib/hordera/hordera.so ./usr/share/doc/hordera/README.md \
  ./usr/share/doc/hordera/host.md; do
  grep -qx "$wanted" <<< "$files" || { echo "error: $package lacks $wanted" >&2; status=1; }
done
stray=$(grep -v -e '/$' -e '^./usr/bin/hordera$' -e '^./usr/lib/hordera/hordera.so$' \
  -e '^./usr/share/doc/hordera/[A-Za-z0-9_-]*\.md$' <<< "$files" || true)
[ -z "$stray" ] || { echo "error: $package holds unexpected files:" >&2; echo "$stray" >&2; status=1; }
depends=$(dpkg-deb -f "$package" Depends)
for library in libembree3 libpng16 libtinygltf; do
  grep -q "$library" <<< "$depends" ||
    { echo "error: $package does not depend on $library (Depends: $depends)" >&2; status=1; }
done
[ $status -eq 0 ] && echo "package $package: file list and dependencies as expected"
exit $status
