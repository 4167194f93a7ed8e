#include "kxwcmn/platform/host.h"

namespace kxw {

namespace {

// Never destroyed: destructors of static objects may still ask.
HostProcedures& Procedures() {
  static HostProcedures& procedures = *new HostProcedures;
  return procedures;
}

}  // namespace

void SetHostProcedures(const HostProcedures& procedures) { Procedures() = procedures; }

const HostProcedures& GetHostProcedures() { return Procedures(); }

}  // namespace kxw

int qmAbort() {
  const auto& abort = kxw::GetHostProcedures().abort;
  return abort ? abort() : 0;
}
