// The environment sensor measures export, "sensors.csv".
#pragma once

#include "logfiles/MeasuresLogFile.h"

namespace emailservice {

class SensorMeasureLogFile final : public MeasuresLogFile {
 public:
  using MeasuresLogFile::MeasuresLogFile;
};

}  // namespace emailservice
