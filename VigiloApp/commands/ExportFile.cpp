#include "VigiloApp/commands/ExportFile.h"

#include <cerrno>
#include <cstdio>

#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/host/FoldersInUse.h"
#include "helper/VigiloWritePolicy.h"

namespace vigilo {

int writeExport(const Directories& directories, const std::optional<std::string>& file,
                const std::string& text) {
  if (!file) return std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0 ? exitOk : exitFailure;
  const std::string path = file->starts_with('/') ? *file : "./" + *file;
  const auto error = replaceFile(path, text, VigiloWritePolicy::exportGate(withAgentFolders(directories)),
                                 {.makeFolder = false});
  if (!error) return exitOk;
  return fail(error->code == EPERM || error->code == EACCES ? exitNoPermission : exitFailure,
              error->description);
}

}  // namespace vigilo
