#include "FuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "CardPaths.h"

namespace emailservice::fuzz {

void fail(char const* what, std::string const& detail) {
  std::fprintf(stderr, "\nfuzz property violated: %s\n", what);
  if (!detail.empty()) {
    std::fprintf(stderr, "%s\n", detail.c_str());
  }
  std::fflush(stderr);
  std::abort();
}

std::uint8_t FuzzInput::byte() { return position < size ? data[position++] : 0; }

std::int32_t FuzzInput::int32() {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) {
    value = (value << 8) | byte();
  }
  return static_cast<std::int32_t>(value);
}

std::int64_t FuzzInput::int64() {
  std::uint64_t value = 0;
  for (int i = 0; i < 8; ++i) {
    value = (value << 8) | byte();
  }
  return static_cast<std::int64_t>(value);
}

std::string FuzzInput::text(std::size_t maxLength) {
  std::size_t length = byte();
  if (maxLength > 255) {
    length = length * maxLength / 255;
  } else if (length > maxLength) {
    length = length % (maxLength + 1);
  }
  std::size_t const available = position < size ? size - position : 0;
  if (length > available) {
    length = available;
  }
  std::string value(reinterpret_cast<char const*>(data + position), length);
  position += length;
  return value;
}

std::string FuzzInput::rest() {
  if (position >= size) {
    return {};
  }
  std::string value(reinterpret_cast<char const*>(data + position), size - position);
  position = size;
  return value;
}

void prepareCardDirectories() {
  static bool const prepared = [] {
    std::filesystem::create_directories(paths::kWorkDirectory);
    std::filesystem::create_directories(paths::kSystemLogDirectory);
    std::filesystem::create_directories(paths::kUpsMeasuresDirectory);
    std::filesystem::create_directories(paths::kSensorMeasuresDirectory);
    return true;
  }();
  static_cast<void>(prepared);
}

StdoutCapture::StdoutCapture() : original(std::cout.rdbuf(captured.rdbuf())) {}

StdoutCapture::~StdoutCapture() { std::cout.rdbuf(original); }

std::string StdoutCapture::take() {
  std::string text = captured.str();
  captured.str(std::string());
  return text;
}

std::string readWholeFile(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeWholeFile(std::string const& path, std::string const& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

}  // namespace emailservice::fuzz
