#!/bin/sh
# install-packages.sh [LIST...]: installs the Debian packages of packages.txt, and of other lists beside it, that are
# missing; quick when none is.
cd "$(dirname "$0")" || exit 1
if ! command -v dpkg-query >/dev/null; then
  echo "This system has no Debian packages; the tools behind those of packages.txt are taken to be there." >&2
  exit 0
fi
installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' | sed -n 's/^installed //p')
missing=$(cat packages.txt "$@" | grep -vxF "$installed")
[ -n "$missing" ] || exit 0
if [ "$(id -u)" -eq 0 ]; then
  as_root=
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
  as_root="sudo -n"
else
  # shellcheck disable=SC2086 # one word a package
  echo "Missing packages. Have an administrator run: apt-get install" $missing >&2
  exit 1
fi
# shellcheck disable=SC2086
echo "Installing:" $missing >&2
# A list that cannot be refreshed may still name all that is needed.
$as_root apt-get update -qq >&2 || true
# shellcheck disable=SC2086
exec $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >&2
