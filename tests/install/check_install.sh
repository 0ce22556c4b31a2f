#!/bin/sh
# Installs the build tree into scratch prefixes and checks what each user of it gets:
# - the Runtime component alone: the library and its SONAME link, nothing else;
# - everything: a consumer built through the CMake package and through pkg-config, with the
#   simulated card as the package's component simcard, runs, and so does a consumer of the
#   configuration check;
# - the card platform: with the simulated card's headers and libraries laid out as a card SDK,
#   the library builds in card mode, needs the SDK's library, defines its own code and nothing of
#   its platform, installs nothing of the simulated card, and the consumer runs against it; a
#   consumer that asks that install for the simulated card is told which install component has it;
#   built for this machine (not the armhf builds), the ship check refuses it for its ELF machine.
# Usage: check_install.sh SOURCE_DIR BUILD_DIR SCRATCH_DIR
# Environment: EMULATOR starts the programs built (empty for native builds); CMAKE_ARGS configure
# the nested builds (a cross build's toolchain); CXX, CXXFLAGS and LDFLAGS build the consumer.
set -eu

source=$1
build=$2
scratch=$3
prefix=$scratch/prefix
sdk=$scratch/sdk
rm -rf "$scratch"
mkdir -p "$scratch/consumer" "$sdk/lib"
: "${EMULATOR:=}" "${CMAKE_ARGS:=}" "${CXX:=c++}" "${CXXFLAGS:=}" "${LDFLAGS:=}"

fail() {
  echo "$*"
  exit 1
}
# The files under a prefix, relative to it, one a line.
files() { (cd "$1" && find . ! -type d | sed 's|^\./||' | sort); }
# A library of the package: its SONAME, its entry points exported, nothing of its platform defined.
check_library() {
  readelf -d "$1" | grep -q 'Library soname: \[libemailService.so.1\]' || fail "wrong SONAME"
  defined=$(readelf -W --dyn-syms "$1" | awk '$7 != "UND" && NF == 8 { sub(/@.*/, "", $8); print $8 }' | c++filt)
  for entry in 'emailservice::EmailService::manageEmails(emailservice::EmailEvent const&)' \
               'emailservice::EmailConfig::logError(emailservice::ErrorCode)'; do
    printf '%s\n' "$defined" | grep -qxF "$entry" || fail "$entry is not exported"
  done
  ! printf '%s\n' "$defined" | grep -E '^([a-z ]+ for )?(cdsapi|dravo|zorvan|utils|meslog|netinfo|simcard|google)::|_2eproto' ||
    fail "the library defines symbols of its platform"
  # The outbox's entry and header come with a library built with the outbox, and only then.
  outbox=$(printf '%s\n' "$defined" | grep -cxF 'emailservice::Outbox::retry()' || true)
  [ "$outbox" -eq "$(ls "$(dirname "$1")/../include/emailservice/Outbox.h" 2>/dev/null | wc -l)" ] ||
    fail "the outbox's entry and its header do not go together"
}
run() { LD_LIBRARY_PATH=$1 $EMULATOR "$2"; }

cmake --install "$build" --prefix "$scratch/runtime" --component Runtime >/dev/null
files "$scratch/runtime" | grep -qx 'lib/libemailService.so.1' || fail "Runtime lacks the library"
! files "$scratch/runtime" | grep -vx 'lib/libemailService[A-Za-z]*\.so\.[0-9.]*' || fail "Runtime installs more"

cmake --install "$build" --prefix "$prefix" >/dev/null
check_library "$prefix/lib/libemailService.so.1"

cat > "$scratch/consumer/main.cpp" <<'CPP'
#include <emailservice/EmailConfig.h>
#include <emailservice/EmailService.h>
#include <cdsapi/CdsAccessor.h>

int main() {
  cdsapi::CdsAccessor accessor;
  emailservice::EmailService service(accessor);
  emailservice::EmailEvent event{emailservice::EventType::Ups, "2024-05-01 13:07:42",
                                 emailservice::EventLevel::Critical, "C00123", 1, "On battery"};
  // An empty card has no configuration: nothing to send.
  return service.manageEmails(event) == emailservice::ErrorCode::Success ? 0 : 1;
}
CPP
readelf -d "$prefix/lib/libemailServiceCheck.so.1" | grep -q 'Library soname: \[libemailServiceCheck.so.1\]' || fail "wrong SONAME"
cat > "$scratch/consumer/check.cpp" <<'CPP'
#include <dravo_config.pb.h>
#include <emailservice/ConfigurationCheck.h>

int main() {
  dravo::proto::EmailConfigurationList list;
  list.add_configurations();
  list.add_configurations()->mutable_recipients()->set_value("");
  // Configuration 1 has no recipient: every sending would fail.
  for (auto const& finding : emailservice::check::checkConfigurations(list)) {
    if (finding.field == "recipients" && finding.severity == emailservice::check::Severity::Error) {
      return 0;
    }
  }
  return 1;
}
CPP
cat > "$scratch/consumer/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer CXX)
set(CMAKE_CXX_STANDARD 17)
find_package(emailService 1 REQUIRED COMPONENTS simcard)
add_executable(consumer main.cpp)
target_link_libraries(consumer PRIVATE emailService::emailService emailService::simcard)
add_executable(check check.cpp)
target_link_libraries(check PRIVATE emailService::emailServiceCheck emailService::simcard)
CMAKE

# shellcheck disable=SC2086
cmake -S "$scratch/consumer" -B "$scratch/consumer/build" -DemailService_DIR="$prefix/lib/cmake/emailService" $CMAKE_ARGS >/dev/null
cmake --build "$scratch/consumer/build" >/dev/null
run "$prefix/lib" "$scratch/consumer/build/consumer"

# shellcheck disable=SC2046,SC2086
$CXX $CXXFLAGS -std=c++17 -o "$scratch/consumer/by-pkg-config" "$scratch/consumer/main.cpp" \
  $(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs emailService emailService-simcard) $LDFLAGS
run "$prefix/lib" "$scratch/consumer/by-pkg-config"
run "$prefix/lib" "$scratch/consumer/build/check"
# On a host the message classes of the platform come from the simulated card.
# shellcheck disable=SC2046,SC2086
$CXX $CXXFLAGS -std=c++17 -o "$scratch/consumer/check-by-pkg-config" "$scratch/consumer/check.cpp" \
  $(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs emailServiceCheck emailService-simcard) $LDFLAGS
run "$prefix/lib" "$scratch/consumer/check-by-pkg-config"

# The simulated card as a card SDK: the Simulator component's headers and libraries, nothing else.
cmake --install "$build" --prefix "$scratch/simulator" --component Simulator >/dev/null
# The tools' manual pages, made from their --help, come with them: with the sections of a manual
# page, and naming the program as installed, never the build tree or the sources.
for tool in emailservice-check emailservice-simulator; do
  page=$scratch/simulator/share/man/man1/$tool.1
  grep -q "^\.TH \"\?${tool}" -i "$page" || fail "no manual page of $tool"
  for section in SYNOPSIS '"EXIT STATUS"' FILES EXAMPLES '"SEE ALSO"'; do
    grep -qx "\.SH $section" "$page" || fail "the manual page of $tool has no section $section"
  done
  ! grep -nF -e "$build" -e "$source" "$page" || fail "the manual page of $tool names the build or the sources"
done
cp -R "$scratch/simulator/include/emailservice/platform" "$sdk/include"
cp -P "$scratch/simulator"/lib/lib*.so* "$sdk/lib/"
# The card build is for this build's processor, which is the card's only in the armhf builds.
# shellcheck disable=SC2086
cmake -S "$source" -B "$scratch/card" -DEMAILSERVICE_PLATFORM=card -DEMAILSERVICE_CARD_INCLUDE_DIRS="$sdk/include" \
  -DEMAILSERVICE_CARD_LIBRARIES="$sdk/lib/libsimcard.so" -DEMAILSERVICE_CARD_HOST_TEST=ON $CMAKE_ARGS >/dev/null
cmake --build "$scratch/card" --parallel 2 >/dev/null
cmake --install "$scratch/card" --prefix "$scratch/card-prefix" >/dev/null
check_library "$scratch/card-prefix/lib/libemailService.so.1"
readelf -d "$scratch/card-prefix/lib/libemailService.so.1" | grep -q 'NEEDED.*\[libsimcard\.so\.1\]' ||
  fail "the card build does not need the SDK's library"
! files "$scratch/card-prefix" | grep -vE '^(include/emailservice/[A-Za-z]+\.h|lib/libemailService[A-Za-z]*\.so[.0-9]*|lib/cmake/emailService/emailService(Config|ConfigVersion|Targets[-a-z]*)\.cmake|lib/pkgconfig/emailService[A-Za-z]*\.pc)$' ||
  fail "the card build installs more than the library's own files"
! grep -lE 'simcard|protobuf|Protobuf' "$scratch/card-prefix"/lib/cmake/emailService/emailServiceTargets* \
  "$scratch/card-prefix"/lib/pkgconfig/* "$prefix/lib/pkgconfig/emailService.pc" ||
  fail "the library's package names its platform"
# The card's install has no simulated card: the package names the component and what installs it.
# shellcheck disable=SC2086
if cmake -S "$scratch/consumer" -B "$scratch/consumer/card-build" -DemailService_DIR="$scratch/card-prefix/lib/cmake/emailService" \
  $CMAKE_ARGS >"$scratch/card-find.log" 2>&1; then
  fail "find_package found the component simcard in the card's install"
fi
# CMake wraps the message: compare it as one line.
found=$(tr -s ' \n' '  ' <"$scratch/card-find.log")
case $found in
  *'component simcard is not installed'*'install component Simulator'*) ;;
  *) fail "find_package does not name the missing component and its install component: $found" ;;
esac
# shellcheck disable=SC2086
$CXX $CXXFLAGS -std=c++17 -o "$scratch/consumer/on-card" "$scratch/consumer/main.cpp" -I"$scratch/card-prefix/include" \
  -I"$sdk/include" -L"$scratch/card-prefix/lib" -L"$sdk/lib" -lemailService -lsimcard -lprotobuf $LDFLAGS
run "$scratch/card-prefix/lib:$sdk/lib" "$scratch/consumer/on-card"
# Built for this machine, it is refused by the ship check for its ELF machine, before anything else.
if [ -z "$EMULATOR" ]; then
  if "$source/scripts/check-card-library.sh" "$scratch/card" >"$scratch/ship.log" 2>&1; then
    fail "the ship check accepted a card library built for this machine"
  fi
  grep -q "libemailService.so.1.*is built for .*, not the card's 32-bit ARM" "$scratch/ship.log" ||
    fail "the ship check does not name the ELF machine: $(cat "$scratch/ship.log")"
fi

rm -rf "$scratch"
echo "installed package works through find_package and pkg-config, and builds for a card SDK"
