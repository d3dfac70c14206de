#pragma once
// The site agent: `xinglan --headless`. The console's engine without a window, for a small box
// at a site with no screen: the stations of every port, discovery, the scan at the read
// interval of the settings, the recorder of the marked stations and the broker publisher when
// it is configured. Every message-window line goes to standard output with its time stamp.

#include <QString>
#include <optional>

namespace xl::app {

struct AgentOptions {
  bool headless = false;
  bool help = false;
  QString dir;    // the program directory; empty: the console's own
  QString error;  // a command line that cannot be run: the one line to say
};

// Reads the command line (argv[1..]). Options other than the agent's are left to the console,
// unless `--headless` is among them.
AgentOptions parseAgentOptions(int argc, char** argv);

// The text of `--help`.
QString agentUsage();

// Runs the agent to its end: 0 after SIGTERM or SIGINT, 2 when the settings file or the station
// store cannot be read.
int runAgent(int argc, char** argv, const AgentOptions& options);

}  // namespace xl::app
