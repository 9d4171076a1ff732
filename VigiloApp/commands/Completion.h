#pragma once

#include <span>
#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace vigilo {

// What the shells' completion scripts ask: `vigilo --complete WORD...`, with the words of the command line
// after its name, up to the one at the cursor, which may be empty. It is answered from the commands
// themselves, so that there is no second list of them to keep true.
//
// One line for each word that fits: the word, and after a tab what it does, where that is known. The line
// ":files" says that a file's name fits as well.
std::string completions(const CLI::App& commands, std::span<const std::string_view> words);

}  // namespace vigilo
