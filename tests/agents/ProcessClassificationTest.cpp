#include "agents/ProcessClassification.h"

#include <gtest/gtest.h>

namespace vigilo {
namespace {

// "claude working", "codex idle", or nothing where the line is no agent's.
std::string verdictOn(const std::string& line) {
  const auto process = parseProcessLine(line);
  const auto match = process ? classifyProcess(*process) : std::nullopt;
  if (!match) return "";
  EXPECT_EQ(match->pid, process->pid);
  EXPECT_EQ(match->command, process->command);
  EXPECT_TRUE(match->isRunning);
  return std::string(rawValue(match->agent)) + (match->isWorking ? " working" : " idle");
}

struct Case {
  const char* line;
  const char* verdict;
};

const Case cases[] = {
    // Claude Code
    {"  4242 /usr/local/bin/claude --resume", "claude working"},
    {"4242 claude --version", ""},
    {"4242 claude auth login", ""},
    {"4242 claude", "claude idle"},
    {"4242 claude --dangerously-skip-permissions", "claude working"},
    {"4242 claude -p Please print a word", "claude working"},
    {"4242 claude -p please install the tools", ""},
    {"4242 node /opt/agents/node_modules/.bin/claude -p Please print a word", "claude working"},
    {"4242 timeout 90 claude -p Please print a word", "claude working"},
    {"4242 claudette", ""},
    {"4242 Claude --resume", ""},
    {"150 /usr/lib/git-core/git remote-https origin https://example.com/claude-plugins.git",
     "claude working"},
    {"213 /bin/bash -c source /home/me/.claude/shell-snapshots/snapshot-bash-1.sh && eval 'echo hi'", ""},
    {"213 /bin/bash -c eval 'echo hi' && pwd -P >| /tmp/claude-bd7e-cwd", "claude working"},
    // Codex
    {"4246 codex exec build", "codex working"},
    {"4246 codex", "codex idle"},
    {"4246 codex --version", ""},
    {"124 [codex]", "codex idle"},
    {"111 node /opt/agents/node_modules/.bin/codex", "codex working"},
    {"111 node /opt/agents/node_modules/.bin/codex exec --skip-git-repo-check Please print a word",
     "codex working"},
    {"124 /opt/agents/vendor/x86_64-unknown-linux-musl/bin/codex exec Please print", "codex working"},
    {"113 sudo codex resume", "codex working"},
    {"226 /opt/agents/vendor/x86_64-unknown-linux-musl/bin/codex-code-mode-host --listen grpc+stdio://", ""},
    {"4245 /Applications/ChatGPT.app/Contents/Resources/codex app-server", ""},
    {"4245 /Applications/ChatGPT.app/Contents/Resources/codex exec", ""},
    {"4245 /Applications/Codex.app/Codex (Renderer) --codex", ""},
    {"4245 /home/me/.codex/packages/app-server-daemon/bin/codex app-server --listen unix:// --managed-daemon",
     ""},
    {"212 /bin/bash -lc if [ -z \"${BASH_ENV-}\" ]; then . /home/me/.codex/shell.sh; fi", "codex idle"},
    {"4247 codex exec compare claude and gemini", "codex working"},
    // OpenCode
    {"4243 node /opt/opencode serve --port 4096", "opencode idle"},
    {"4244 opencode run fix", "opencode working"},
    {"4244 opencode", "opencode idle"},
    {"4244 /usr/local/bin/opencode", "opencode working"},
    {"4244 node /opt/opencode attach", "opencode idle"},
    {"4244 sh opencode tui", "opencode working"},
    {"4244 opencode run --port 4096", "opencode idle"},
    {"4244 opencode --version", ""},
    // Gemini
    {"77 gemini", "gemini idle"},
    {"77 gemini -p hello", "gemini working"},
    {"77 node /opt/agents/node_modules/.bin/gemini", "gemini working"},
    {"77 /usr/bin/node --max-old-space-size=4096 /opt/agents/node_modules/.bin/gemini -i", "gemini working"},
    {"77 /opt/antigravity/bin/language_server --app_data_dir /home/me/.x/gemini ", ""},
    {"77 node /opt/agents/node_modules/.bin/gemini --version", ""},
    {"78 /usr/bin/bash -c _bgpids_file=/tmp/gemini-shell-BqKJng/bgpids.tmp ( echo hi )", "gemini working"},
    // Aider
    {"90 python3 /home/me/.local/bin/aider --model sonnet", "aider working"},
    {"90 aider --version", ""},
    // Bystanders, and lines that are none of `ps`
    {"91 grep -r claude /home", ""},
    {"92 /bin/ps -axo pid,command /claude", ""},
    {"93 vigilo-relay --agent claude --state working", ""},
    {"93 /bin/sh -c '/opt/vigilo/relay' --agent claude ", ""},
    {"94 vim notes.txt", ""},
    {"    PID COMMAND", ""},
    {"95", ""},
    {"99999999999 claude -p hello", ""},
    {"0x5 claude -p hello", ""},
    {"", ""},
};

TEST(ProcessClassification, KnowsEachAgentByTheWordsOfItsCommand) {
  for (const auto& [line, verdict] : cases) EXPECT_EQ(verdictOn(line), verdict) << line;
}

}  // namespace
}  // namespace vigilo
