#!/bin/sh
# Installs the build tree into a scratch prefix, then builds and runs a small consumer twice:
# through the CMake package (find_package) and through pkg-config, and the same for a consumer of
# the configuration check. Checks the SONAMEs and the two exported entry points of the library.
# Usage: check_install.sh BUILD_DIR SCRATCH_DIR
set -eu

build=$1
scratch=$2
prefix=$scratch/prefix
rm -rf "$scratch"
mkdir -p "$scratch/consumer"

cmake --install "$build" --prefix "$prefix" >/dev/null

library=$prefix/lib/libemailService.so.1
readelf -d "$library" | grep -q 'Library soname: \[libemailService.so.1\]' || { echo "wrong SONAME"; exit 1; }
for symbol in _ZN12emailservice12EmailService12manageEmailsERKNS_10EmailEventE \
              _ZN12emailservice11EmailConfig8logErrorENS_9ErrorCodeE; do
  nm -D --defined-only "$library" | grep -q " T $symbol\$" || { echo "$symbol is not exported"; exit 1; }
done

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
readelf -d "$prefix/lib/libemailServiceCheck.so.1" | grep -q 'Library soname: \[libemailServiceCheck.so.1\]' || { echo "wrong SONAME"; exit 1; }
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
find_package(emailService 1 REQUIRED)
add_executable(consumer main.cpp)
target_link_libraries(consumer PRIVATE emailService::emailService)
add_executable(check check.cpp)
target_link_libraries(check PRIVATE emailService::emailServiceCheck emailService::simcard)
CMAKE

cmake -S "$scratch/consumer" -B "$scratch/consumer/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/consumer/build" >/dev/null
LD_LIBRARY_PATH=$prefix/lib "$scratch/consumer/build/consumer"
LD_LIBRARY_PATH=$prefix/lib "$scratch/consumer/build/check"

# shellcheck disable=SC2046
c++ -std=c++17 -o "$scratch/consumer/by-pkg-config" "$scratch/consumer/main.cpp" \
  $(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs emailService)
LD_LIBRARY_PATH=$prefix/lib "$scratch/consumer/by-pkg-config"
# On a host the message classes of the platform come from the simulated card.
# shellcheck disable=SC2046
c++ -std=c++17 -o "$scratch/consumer/check-by-pkg-config" "$scratch/consumer/check.cpp" \
  $(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs emailServiceCheck) -lsimcard
LD_LIBRARY_PATH=$prefix/lib "$scratch/consumer/check-by-pkg-config"

rm -rf "$scratch"
echo "installed package works through find_package and pkg-config"
