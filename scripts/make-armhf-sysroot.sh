#!/bin/sh
# Makes the sysroot that the armhf presets (card-armhf, test-armhf) build and run against: Debian's
# armhf packages of the libraries the build needs (protobuf, zlib, GoogleTest, GoogleMock) and of
# the C and C++ run-time libraries that qemu-arm loads the test programs with, unpacked into
# SYSROOT. The machine's package architectures are left as they are: apt reads armhf indices into
# a private directory and only downloads; nothing is installed.
#
# Usage: make-armhf-sysroot.sh [SYSROOT]   (default: build/sysroot-armhf)
# The host protoc generates the message classes that the sysroot's libprotobuf runs, so both must
# be the same protobuf version; the script fails otherwise.
set -eu

cd "$(dirname "$0")/.."
sysroot=${1:-$(pwd)/build/sysroot-armhf}
case $sysroot in /*) ;; *) sysroot=$(pwd)/$sysroot ;; esac
work=$sysroot.apt
me=make-armhf-sysroot.sh

PACKAGES="
libprotobuf-dev
libprotobuf32
zlib1g
libgtest-dev
libgmock-dev
libc6
libstdc++6
libgcc-s1
"

# Everything is made beside the sysroot and moved into place once complete and checked.
staging=$sysroot.new
rm -rf "$staging" "$work"
mkdir -p "$staging" "$work/lists/partial" "$work/cache/archives/partial" "$work/debs"
trap 'rm -rf "$staging" "$work"' EXIT

# armhf as the only architecture, with lists and caches of our own. Downloads run as root rather
# than as apt's sandbox user, who cannot write into the private directories.
set -- -oAPT::Architecture=armhf -oAPT::Architectures=armhf \
  -oDir::State::Lists="$work/lists" -oDir::Cache="$work/cache" -oAPT::Sandbox::User=root
# An index that fails (the security index has failed with a size mismatch while its mirror
# synced) is not fatal: the main index holds every package, and the download below decides.
if ! apt-get "$@" update; then
  cat >&2 <<EOF
$me: some armhf package indices could not be fetched (apt-get names them above; a security
$me: index fails this way while its mirror syncs). Going on with the indices that loaded: every
$me: package comes from the release's main index, but a security update published since the
$me: release is then missing, so the sysroot may hold an older libc6, libstdc++6 or libprotobuf
$me: than an up-to-date armhf machine. The card build only compiles and links against it; for a
$me: sysroot with the updates, run this script again once the index can be fetched.
$me: packages.txt in the sysroot lists the versions it holds.
EOF
fi
# shellcheck disable=SC2086
(cd "$work/debs" && apt-get "$@" download $PACKAGES)

# The protobuf version of the sysroot's library against the host compiler's.
sysroot_version=$(dpkg-deb -f "$work"/debs/libprotobuf32_*.deb Version | sed -e 's/^[0-9]*://' -e 's/-[^-]*$//')
host_version=$(protoc --version | sed 's/^libprotoc //')
if [ "$sysroot_version" != "$host_version" ]; then
  echo "$me: the host protoc is protobuf $host_version but the armhf libprotobuf is $sysroot_version;" >&2
  echo "$me: install the protobuf-compiler of version $sysroot_version (or make both the same release)" >&2
  exit 1
fi

for deb in "$work"/debs/*.deb; do
  dpkg -x "$deb" "$staging"
  dpkg-deb -W --showformat='${Package} ${Version}\n' "$deb" >>"$staging/packages.txt"
done

# Library links that point to an absolute path would leave the sysroot: make them relative.
find "$staging" -type l | while read -r link; do
  target=$(readlink "$link")
  case $target in
    /*) ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$staging$target")" "$link" ;;
  esac
done

rm -rf "$sysroot"
mv "$staging" "$sysroot"
echo "$me: armhf sysroot with protobuf $sysroot_version in $sysroot"
