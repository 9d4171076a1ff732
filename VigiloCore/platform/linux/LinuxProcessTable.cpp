#include "platform/linux/LinuxProcessTable.h"

#include "platform/PsProcessTable.h"
#include "platform/linux/ProcProcessTable.h"

namespace vigilo {

std::optional<std::vector<ProcessLine>> LinuxProcessTable::read() {
  if (auto lines = proc_->read()) {
    if (failure_.ends()) log_.info("/proc can be read again");
    return lines;
  }
  if (failure_.begins("/proc")) log_.error("/proc shows no processes: asking ps");
  return tool_->read();
}

std::unique_ptr<ProcessTable> makeProcessTable() {
  return std::make_unique<LinuxProcessTable>(std::make_unique<ProcProcessTable>(),
                                             std::make_unique<PsProcessTable>());
}

}  // namespace vigilo
