#!/bin/sh
# Builds the card's libraries with a card maker's SDK through the recipe of docs/card-build.md, and
# checks the result with scripts/check-card-library.sh. The SDK is laid out here from scratch and
# shares no path with the Debian sysroot of the armhf presets:
# - bin/: the compiler, named for the vendor's triplet, which calls the cross compiler bound to
#   the SDK's sysroot (its headers and libraries only), and the binary tools of that triplet;
# - sysroot/: the C library and C++ runtime, protobuf, and the card's platform: its headers
#   (with dravo_config.pb.h) and a stub platform library that defines what the libraries take
#   from the platform;
# - toolchain.cmake: the SDK's own toolchain file, written as vendors write them.
# Usage: check_vendor_sdk.sh SCRATCH_DIR [ARMHF_SYSROOT]   (the Debian sysroot gives protobuf's files;
# default build/sysroot-armhf)
set -eu

cd "$(dirname "$0")/../.."
source=$(pwd)
mkdir -p "$1"
scratch=$(cd "$1" && pwd)
debian=${2:-build/sysroot-armhf}
sdk=$scratch/sdk
sysroot=$sdk/sysroot
triplet=armv7a-vendor-linux-gnueabihf
cross=arm-linux-gnueabihf
rm -rf "$scratch"
mkdir -p "$sdk/bin" "$sysroot/usr" "$sysroot/usr/include/card"

# The C library, the C++ runtime and their headers; their linker scripts name the SDK's places.
cp -R "/usr/$cross/include" "/usr/$cross/lib" "$sysroot/usr/"
grep -l 'GNU ld script' "$sysroot"/usr/lib/*.so | while read -r script; do
  sed -i "s|/usr/$cross/lib/|/usr/lib/|g" "$script"
done
ln -s libstdc++.so.6 "$sysroot/usr/lib/libstdc++.so"
cp -R "$debian/usr/include/google" "$sysroot/usr/include/"
cp -P "$debian/usr/lib/$cross"/libprotobuf.so* "$debian/lib/$cross"/libz.so* "$sysroot/usr/lib/"

gcc_version=$($cross-g++ -dumpversion)
cxx_include=$sysroot/usr/include/c++/$gcc_version
for tool in g++ gcc; do
  cat >"$sdk/bin/$triplet-$tool" <<EOF
#!/bin/sh
exec $cross-$tool --sysroot="$sysroot" -nostdinc -isystem "$cxx_include" -isystem "$cxx_include/$cross" \\
  -isystem "$cxx_include/backward" -isystem "$($cross-gcc -print-file-name=include)" -isystem "$sysroot/usr/include" \\
  -B"$sysroot/usr/lib/" -L"$sysroot/usr/lib" "\$@"
EOF
  chmod +x "$sdk/bin/$triplet-$tool"
done
for tool in ar ranlib nm objcopy objdump readelf strip ld; do
  ln -s "$(command -v "$cross-$tool")" "$sdk/bin/$triplet-$tool"
done

# The card's platform headers, and its message classes' header from a protoc of its protobuf.
cp -R platform/include/. "$sysroot/usr/include/card/"
protoc --cpp_out="$scratch" -Iplatform/proto platform/proto/dravo_config.proto
cp "$scratch/dravo_config.pb.h" "$sysroot/usr/include/card/"

cat >"$sdk/toolchain.cmake" <<EOF
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_SYSROOT $sysroot)
set(CMAKE_C_COMPILER $sdk/bin/$triplet-gcc)
set(CMAKE_CXX_COMPILER $sdk/bin/$triplet-g++)
set(CMAKE_FIND_ROOT_PATH \${CMAKE_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
EOF

# The recipe, first without platform libraries (the card's service provides them when it loads
# the library): what the library takes from the platform makes the stub library.
recipe() {
  cmake -S "$source" -B "$scratch/build" -DCMAKE_TOOLCHAIN_FILE="$sdk/toolchain.cmake" -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DEMAILSERVICE_PLATFORM=card -DEMAILSERVICE_BUILD_TESTS=OFF \
    -DEMAILSERVICE_CARD_INCLUDE_DIRS="$sysroot/usr/include/card" "$@" >/dev/null
  cmake --build "$scratch/build" --parallel 2 >/dev/null
}
recipe -DEMAILSERVICE_CARD_LIBRARIES=
"$sdk/bin/$triplet-nm" -D --undefined-only "$scratch"/build/src/libemailService.so.1 "$scratch"/build/src/check/libemailServiceCheck.so.1 |
  awk '$1 == "U" && $2 !~ /@|google8protobuf/ { print $2 }' | sort -u |
  awk 'BEGIN { print ".section .note.GNU-stack,\"\",%progbits\n.data" }
       { kind = $1 ~ /_default_instance_E$/ ? "%object" : "%function"
         print ".globl " $1 "\n.type " $1 ", " kind "\n.size " $1 ", 4\n" $1 ":\n  .word 0" }' >"$scratch/platform-stub.s"
grep -q '^_ZN6cdsapi11CdsAccessor' "$scratch/platform-stub.s" || { echo "no platform symbol to stub"; exit 1; }
"$sdk/bin/$triplet-g++" -shared -Wl,-soname,libcardplatform.so.1 -o "$sysroot/usr/lib/libcardplatform.so" "$scratch/platform-stub.s"

# Then with the platform library named: linked with every symbol resolved, and needed.
recipe -DEMAILSERVICE_CARD_LIBRARIES=cardplatform
for library in "$scratch"/build/src/libemailService.so.1 "$scratch"/build/src/check/libemailServiceCheck.so.1; do
  readelf -d "$library" | grep -q 'NEEDED.*\[libcardplatform\.so\.1\]' || { echo "$library does not need the platform"; exit 1; }
done
scripts/check-card-library.sh "$scratch/build"

# The same SDK through our toolchain file, given its sysroot and compiler prefix.
cmake -S "$source" -B "$scratch/ours" -DCMAKE_TOOLCHAIN_FILE="$source/cmake/card-toolchain.cmake" -DCMAKE_SYSROOT="$sysroot" \
  -DEMAILSERVICE_CROSS_PREFIX="$sdk/bin/$triplet-" -DCMAKE_BUILD_TYPE=MinSizeRel -DEMAILSERVICE_PLATFORM=card \
  -DEMAILSERVICE_BUILD_TESTS=OFF -DEMAILSERVICE_CARD_INCLUDE_DIRS="$sysroot/usr/include/card" \
  -DEMAILSERVICE_CARD_LIBRARIES=cardplatform >/dev/null
grep -qxF "set(CMAKE_CXX_COMPILER \"$sdk/bin/$triplet-g++\")" "$scratch"/ours/CMakeFiles/*/CMakeCXXCompiler.cmake || { echo "not the SDK's compiler"; exit 1; }
cmake --build "$scratch/ours" --parallel 2 >/dev/null
scripts/check-card-library.sh "$scratch/ours"

# The check refuses a library holding a card path under a host directory, and one over its budget.
doctored() { # LIBRARY SECTION_FILE EXPECTED_REFUSAL
  cp "$1" "$1.good"
  "$sdk/bin/$triplet-objcopy" --add-section ".doctored=$2" "$1"
  if scripts/check-card-library.sh "$scratch/ours" >"$scratch/doctored.log" 2>&1 || ! grep -q "$3" "$scratch/doctored.log"; then
    echo "check-card-library.sh does not refuse $1 with '$3':"; cat "$scratch/doctored.log"; exit 1
  fi
  mv "$1.good" "$1"
}
printf '/work/my-card/tmp/logMeasures/ups\0' >"$scratch/prefixed"
doctored "$scratch/ours/src/libemailService.so.1.0.0" "$scratch/prefixed" 'holds card paths under another directory'
head -c 4096 /dev/zero >"$scratch/padding"
doctored "$scratch/ours/src/check/libemailServiceCheck.so.1.0.0" "$scratch/padding" 'over its budget of 32768'

# A protoc of another protobuf release than the sysroot's is refused with both versions.
printf '#!/bin/sh\necho "libprotoc 3.12.4"\n' >"$scratch/protoc-3.12.4"
chmod +x "$scratch/protoc-3.12.4"
if cmake -S "$source" -B "$scratch/mismatch" -DCMAKE_TOOLCHAIN_FILE="$sdk/toolchain.cmake" -DEMAILSERVICE_PLATFORM=card \
  -DEMAILSERVICE_BUILD_TESTS=OFF -DProtobuf_PROTOC_EXECUTABLE="$scratch/protoc-3.12.4" >"$scratch/mismatch.log" 2>&1; then
  echo "a mismatched protoc was accepted"; exit 1
fi
refusal=$(tr -s ' \n' '  ' <"$scratch/mismatch.log")
case $refusal in
  *"is protobuf 3.12.4, but the protobuf headers in $sysroot/usr/include are protobuf $(protoc --version | sed 's/^libprotoc //')"*) ;;
  *) echo "the protoc mismatch is not told: $refusal"; exit 1 ;;
esac
# A card build with a host path prefix (left in the cache by an earlier configuration) is refused.
if cmake -S "$source" -B "$scratch/ours" -DEMAILSERVICE_PATH_PREFIX=/tmp/my-card >"$scratch/prefix.log" 2>&1; then
  echo "a card build took a path prefix"; exit 1
fi
grep -q 'EMAILSERVICE_PATH_PREFIX is ./tmp/my-card., but a library for the card' "$scratch/prefix.log" ||
  { echo "the path prefix refusal is not told: $(cat "$scratch/prefix.log")"; exit 1; }
rm -rf "$scratch"
echo "the card's libraries build with a vendor SDK"
