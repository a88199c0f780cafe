#include <ostream>

#include "runner/commands/commands.hpp"

namespace vtio::runner {

ExitStatus printMistakes(const FmuFile& fmu, std::ostream& out) {
  const Mistakes& mistakes = fmu.mistakes();
  for (const Mistake& mistake : mistakes.kept()) out << fmu.path().string() << ": " << mistake.text() << "\n";
  const std::size_t more = mistakes.count() - mistakes.kept().size();
  if (more > 0) out << fmu.path().string() << ": and " << more << " more\n";
  if (mistakes.count() == 0) {
    out << fmu.path().string() << ": no mistakes found\n";
    return ExitStatus::done;
  }
  return ExitStatus::failed;
}

}  // namespace vtio::runner
