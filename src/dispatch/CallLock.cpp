// Compiled into the library only when calls are serialized, so that the default library is
// exactly what it was without the option.
#ifdef EMAILSERVICE_SERIALIZE_CALLS

#include "dispatch/CallLock.h"

#include "CardPaths.h"

namespace emailservice {

std::string CallLock::path() { return std::string(paths::kWorkDirectory) + "manageEmails.lock"; }

CallLock::CallLock() { file.lock(path()); }

}  // namespace emailservice

#endif
