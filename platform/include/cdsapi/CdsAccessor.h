// Data store client: the entry object through which a process reaches the card's data store.
#pragma once

#include <memory>
#include <string>

namespace cdsapi {

class InBandAccessor;
class OobAccessor;
class DataAlarms;

// A client of the card's one data store. Every accessor of every CdsAccessor of a process reaches
// the same store. Not thread-safe; the e-mail service uses it from the caller's thread only.
class CdsAccessor {
 public:
  // `clientName` names the client in the data store's diagnostics; `readOnly` asks for a client
  // that never writes. Neither changes what the accessors return.
  explicit CdsAccessor(std::string const& clientName = "emailService", bool readOnly = false);
  ~CdsAccessor();
  CdsAccessor(CdsAccessor const&) = delete;
  CdsAccessor& operator=(CdsAccessor const&) = delete;

  // Device attributes and channels. The reference lives as long as this object.
  InBandAccessor& inbandAccessor();
  // Configuration records. The reference lives as long as this object.
  OobAccessor& oobAccessor();
  // The alarm history. The reference lives as long as this object.
  DataAlarms& alarmsAccessor();

  std::string const& clientName() const { return name; }

 private:
  std::string name;
  std::unique_ptr<InBandAccessor> inband;
  std::unique_ptr<OobAccessor> oob;
  std::unique_ptr<DataAlarms> alarms;
};

}  // namespace cdsapi
