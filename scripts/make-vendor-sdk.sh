#!/bin/sh
# Lays out a card SDK of the kind that embedded Linux build systems generate, from scratch, for
# trying docs/card-build.md's recipe as a firmware engineer follows it (tests/install/
# check_vendor_sdk.sh builds with both releases). It shares no path with the Debian sysroot of the
# armhf presets:
# - environment-setup-armv7a-vendor-linux-gnueabihf: the script a firmware engineer sources; it
#   exports CC and CXX with the target's flags and --sysroot inside them, CFLAGS, CXXFLAGS and
#   LDFLAGS with the defaults of generated SDKs (-O2, -fstack-protector-strong,
#   -D_FORTIFY_SOURCE=2, -Wl,-O1, -Wl,--hash-style=gnu, -Wl,-z,relro,-z,now), the target sysroot
#   (SDKTARGETSYSROOT), PATH and the pkg-config variables;
# - sysroots/armv7a-vendor-linux-gnueabihf/: the target sysroot: the C library, the C++ runtime,
#   protobuf, and the card's platform headers in usr/include/card (with dravo_config.pb.h from the
#   SDK's protoc); no platform library (a test adds its stubs);
# - sysroots/x86_64-sdk-linux/: the native sysroot: the cross compiler (Debian's, bound to the
#   sysroot's headers and libraries, and linking only what it is told, unlike Debian's own, which
#   links --as-needed) and binary tools, the SDK's own protoc, and usr/share/cmake/toolchain.cmake,
#   the SDK's toolchain file (the sysroot from the environment, CMAKE_FIND_ROOT_PATH and the
#   CMAKE_FIND_ROOT_PATH_MODE_* values, no compiler).
# RELEASE bookworm: Debian 12's C library (glibc 2.36) and C++ runtime of the cross compiler,
# protobuf from the armhf sysroot (scripts/make-armhf-sysroot.sh), the machine's protoc.
# RELEASE bullseye: Debian 11's armhf C library (glibc 2.31, 32-bit time_t), GCC 10's C++ runtime
# and protobuf 3.12, with Debian 11's protoc in the native sysroot; the packages are downloaded
# from Debian's mirror once into CACHE_DIR (12 MB, after 16 MB of package indices) and kept there.
# Exit status 3, with apt's reason, when the mirror cannot serve them.
# Usage: make-vendor-sdk.sh SDK_DIR bookworm|bullseye [ARMHF_SYSROOT [CACHE_DIR]]
#   (defaults build/sysroot-armhf and build/vendor-sdk-cache)
set -eu

cd "$(dirname "$0")/.."
mkdir -p "$1" "${4:-build/vendor-sdk-cache}"
sdk=$(cd "$1" && pwd)
release=$2
debian=${3:-build/sysroot-armhf}
cache=$(cd "${4:-build/vendor-sdk-cache}" && pwd)
triplet=armv7a-vendor-linux-gnueabihf
cross=arm-linux-gnueabihf
rm -rf "$sdk"
mkdir -p "$sdk"

# lay_out_sdk SDK CXX_VERSION: the native sysroot, the environment script and the toolchain file of
# the SDK whose target sysroot SDK/sysroots/$triplet holds the C library and C++ runtime (headers
# of C++ runtime CXX_VERSION), in Debian's multiarch directories or the cross compiler's.
lay_out_sdk() (
  sdk=$1
  target=$sdk/sysroots/$triplet
  native=$sdk/sysroots/x86_64-sdk-linux
  mkdir -p "$native/usr/bin" "$native/usr/share/cmake"
  cxx=$target/usr/include/c++/$2
  includes="-isystem $cxx -isystem $cxx/$cross -isystem $target/usr/include/$cross/c++/$2 -isystem $cxx/backward"
  includes="$includes -isystem $($cross-gcc -print-file-name=include) -isystem $target/usr/include/$cross -isystem $target/usr/include"
  libraries="-B$target/usr/lib/$cross/ -B$target/usr/lib/ -L$target/usr/lib/$cross -L$target/lib/$cross -L$target/usr/lib"
  for tool in g++ gcc; do
    cat >"$native/usr/bin/$triplet-$tool" <<EOF
#!/bin/sh
exec $cross-$tool -nostdinc $includes $libraries -Wl,--no-as-needed "\$@"
EOF
    chmod +x "$native/usr/bin/$triplet-$tool"
  done
  for tool in ar ranlib nm objcopy objdump readelf strip ld; do
    ln -s "$(command -v "$cross-$tool")" "$native/usr/bin/$triplet-$tool"
  done
  flags="-march=armv7-a -mthumb -mfpu=neon -mfloat-abi=hard --sysroot=$target"
  cat >"$sdk/environment-setup-$triplet" <<EOF
# The environment of the card SDK: source it in the shell that builds.
export SDKTARGETSYSROOT=$target
export PATH=$native/usr/bin:\$PATH
export PKG_CONFIG_SYSROOT_DIR=\$SDKTARGETSYSROOT
export PKG_CONFIG_PATH=\$SDKTARGETSYSROOT/usr/lib/pkgconfig:\$SDKTARGETSYSROOT/usr/share/pkgconfig
export CC="$triplet-gcc $flags"
export CXX="$triplet-g++ $flags"
export CPP="$triplet-gcc -E $flags"
export LD="$triplet-ld --sysroot=$target"
export AR=$triplet-ar
export NM=$triplet-nm
export STRIP=$triplet-strip
export OBJCOPY=$triplet-objcopy
export READELF=$triplet-readelf
export CROSS_COMPILE=$triplet-
export CFLAGS=" -O2 -pipe -g -feliminate-unused-debug-types -fstack-protector-strong -D_FORTIFY_SOURCE=2"
export CXXFLAGS=" -O2 -pipe -g -feliminate-unused-debug-types -fstack-protector-strong -D_FORTIFY_SOURCE=2 -fvisibility-inlines-hidden"
export LDFLAGS="-Wl,-O1 -Wl,--hash-style=gnu -Wl,-z,relro,-z,now"
export ARCH=arm
EOF
  cat >"$native/usr/share/cmake/toolchain.cmake" <<'EOF'
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_SYSROOT $ENV{SDKTARGETSYSROOT})
set(CMAKE_FIND_ROOT_PATH $ENV{SDKTARGETSYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
EOF
  # The card's platform headers, and its message classes' header from the SDK's protoc.
  mkdir -p "$target/usr/include/card"
  cp -R platform/include/. "$target/usr/include/card/"
  "$native/usr/bin/protoc" --cpp_out="$target/usr/include/card" -Iplatform/proto platform/proto/dravo_config.proto
  rm "$target/usr/include/card/dravo_config.pb.cc"
)

# Debian 12: the cross compiler's C library and C++ runtime, protobuf from the armhf sysroot, and
# the machine's protoc as the SDK's.
bookworm() (
  target=$sdk/sysroots/$triplet
  mkdir -p "$target/usr" "$sdk/sysroots/x86_64-sdk-linux/usr/bin"
  cp -R "/usr/$cross/include" "/usr/$cross/lib" "$target/usr/"
  grep -l 'GNU ld script' "$target"/usr/lib/*.so | while read -r script; do
    sed -i "s|/usr/$cross/lib/|/usr/lib/|g" "$script"
  done
  ln -s libstdc++.so.6 "$target/usr/lib/libstdc++.so"
  cp -R "$debian/usr/include/google" "$target/usr/include/"
  cp -P "$debian/usr/lib/$cross"/libprotobuf.so* "$debian/lib/$cross"/libz.so* "$target/usr/lib/"
  cp "$(command -v protoc)" "$sdk/sysroots/x86_64-sdk-linux/usr/bin/protoc"
  lay_out_sdk "$sdk" "$($cross-g++ -dumpversion)"
)

# Debian 11's packages, into CACHE_DIR/bullseye-ARCH once: false when the mirror cannot serve them.
# apt reads lists, caches and a package status of its own: what this machine has installed plays
# no part.
fetch_bullseye() { # ARCH PACKAGE...
  arch=$1
  shift
  debs=$cache/bullseye-$arch
  have=true
  for package in "$@"; do
    ls "$debs/${package}_"*.deb >/dev/null 2>&1 || have=false
  done
  if $have; then
    return 0
  fi
  apt=$cache/apt-$arch
  rm -rf "$apt" "$debs"
  mkdir -p "$apt/lists/partial" "$apt/cache/archives/partial" "$debs"
  : >"$apt/status"
  echo "deb [arch=$arch signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/debian bullseye main" \
    >"$apt/sources.list"
  options="-q -oAPT::Architecture=$arch -oAPT::Architectures=$arch -oDir::State::Lists=$apt/lists -oDir::Cache=$apt/cache
    -oAPT::Sandbox::User=root -oDir::Etc::SourceList=$apt/sources.list -oDir::Etc::SourceParts=/nonexistent -oDir::State::status=$apt/status"
  # shellcheck disable=SC2086
  if apt-get $options update >"$apt/apt.log" 2>&1 && (cd "$debs" && apt-get $options download "$@") >>"$apt/apt.log" 2>&1; then
    rm -rf "$apt"
    return 0
  fi
  tail -n 5 "$apt/apt.log" >&2
  rm -rf "$debs"
  return 1
}

# Debian 11: glibc 2.31 and the C++ runtime of GCC 10, protobuf 3.12 and its protoc in the native
# sysroot (the machine's protoc, of another release, would be refused).
bullseye() (
  target=$sdk/sysroots/$triplet
  native=$sdk/sysroots/x86_64-sdk-linux
  fetch_bullseye armhf libc6 libc6-dev linux-libc-dev libstdc++6 libstdc++-10-dev libgcc-s1 libprotobuf23 \
    libprotobuf-dev zlib1g || exit 3
  fetch_bullseye amd64 protobuf-compiler libprotoc23 libprotobuf23 || exit 3
  mkdir -p "$target" "$native/usr/bin"
  for deb in "$cache"/bullseye-armhf/*.deb; do dpkg -x "$deb" "$target"; done
  for deb in "$cache"/bullseye-amd64/*.deb; do dpkg -x "$deb" "$native"; done
  find "$target" -type l | while read -r link; do
    case $(readlink "$link") in
      /*) ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$target$(readlink "$link")")" "$link" ;;
    esac
  done
  ln -s libstdc++.so.6 "$target/usr/lib/$cross/libstdc++.so"
  mv "$native/usr/bin/protoc" "$native/usr/bin/protoc.bin"
  printf '#!/bin/sh\nLD_LIBRARY_PATH=%s exec %s "$@"\n' "$native/usr/lib/x86_64-linux-gnu" "$native/usr/bin/protoc.bin" \
    >"$native/usr/bin/protoc"
  chmod +x "$native/usr/bin/protoc"
  lay_out_sdk "$sdk" 10
)

case $release in
  bookworm | bullseye) "$release" ;;
  *) echo "make-vendor-sdk.sh: RELEASE is bookworm or bullseye, not '$release'" >&2; exit 2 ;;
esac
