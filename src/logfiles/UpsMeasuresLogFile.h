// The UPS measures export, "ups.csv".
#pragma once

#include "logfiles/MeasuresLogFile.h"

namespace emailservice {

class UpsMeasuresLogFile final : public MeasuresLogFile {
 public:
  using MeasuresLogFile::MeasuresLogFile;
};

}  // namespace emailservice
