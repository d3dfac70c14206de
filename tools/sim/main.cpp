// xinglan-sim: simulated charge controllers on pseudo-terminals.
//
// Every line of the bus description becomes a pseudo-terminal linked as <ports-dir>/COMn, where
// the console (or any Modbus master) opens it as its serial port. The controllers on the line
// answer at wire speed. Each frame in and out is printed with a time stamp. Lines typed on the
// standard input change stations while the tool runs ("help" lists the commands). SIGINT or
// SIGTERM ends the tool, which removes its links.

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tools/sim/config.h"
#include "tools/sim/line_server.h"

namespace {

using xl::sim::Duration;
using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t gStop = 0;
void onSignal(int) { gStop = 1; }

bool gQuiet = false;

std::string stamp() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t t = std::chrono::system_clock::to_time_t(now);
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm tm{};
  localtime_r(&t, &tm);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%02d:%02d:%02d.%03d", tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(ms));
  return buf;
}

void say(const std::string& line) {
  std::printf("%s %s\n", stamp().c_str(), line.c_str());
  std::fflush(stdout);
}

void usage() {
  std::printf(
      "usage: xinglan-sim [--config FILE] [--ports-dir DIR] [--speed N] [--quiet]\n"
      "\n"
      "  --config FILE    bus description (default: three stations, addresses 1 to 3, on COM3,9600)\n"
      "  --ports-dir DIR  where the COMn links go (default: ports/ in the console's program directory)\n"
      "  --speed N        simulated seconds per real second (overrides the file)\n"
      "  --quiet          do not print the frames\n");
}

void help() {
  std::printf(
      "commands:\n"
      "  show                          the stations and their faults\n"
      "  PORT ADDRESS KEY=VALUE ...    change a station, e.g.  COM3 2 silent=yes\n"
      "      keys: silent bad_crc delay split split_at exception reply_address faults=none\n"
      "            latency restart flags_0120 flags_0121 flags_0122 load live\n"
      "  help\n");
  std::fflush(stdout);
}

const char* chargeText(std::uint8_t state) {
  static const char* names[] = {"not charging", "start", "MPPT", "equalize", "boost", "float", "limited"};
  return state < 7 ? names[state] : "?";
}

std::string clockText(double seconds) {
  const long s = static_cast<long>(seconds);
  char buf[32];
  std::snprintf(buf, sizeof buf, "day %ld %02ld:%02ld", s / 86400, s / 3600 % 24, s / 60 % 60);
  return buf;
}

struct Tool {
  std::vector<std::unique_ptr<xl::sim::LineServer>> lines;
  Clock::time_point start;

  Duration now() const { return std::chrono::duration_cast<Duration>(Clock::now() - start); }

  xl::sim::LineServer* line(const std::string& name) {
    for (auto& l : lines)
      if (l->name() == name) return l.get();
    return nullptr;
  }

  void show() {
    const Duration at = now();
    for (auto& l : lines)
      for (const auto& c : l->controllers()) {
        c->advanceTo(at);
        const auto& r = c->state().readings;
        std::printf("%s %3d  %-16s %s  SOC %3d%%  %5.1f V  load %s  %-12s  %s\n", l->name().c_str(), c->address(),
                    c->state().identity.model.c_str(), clockText(c->model().simulatedSeconds(at)).c_str(), r.soc,
                    r.batteryVoltage / 10.0, r.loadOn ? "on " : "off", chargeText(r.chargeState),
                    xl::sim::describeFaults(c->faults()).c_str());
      }
    std::fflush(stdout);
  }

  void command(const std::string& text) {
    std::istringstream in(text);
    std::string first;
    if (!(in >> first)) return;
    if (first == "help") return help();
    if (first == "show") return show();
    xl::sim::LineServer* l = line(first);
    int address = 0;
    if (!l || !(in >> address)) {
      std::printf("? unknown command or port '%s' (try help)\n", first.c_str());
      std::fflush(stdout);
      return;
    }
    xl::sim::Controller* c = address > 0 && address < 256 ? l->find(static_cast<std::uint8_t>(address)) : nullptr;
    if (!c) {
      std::printf("? no station %d on %s\n", address, first.c_str());
      std::fflush(stdout);
      return;
    }
    std::string item;
    while (in >> item) {
      const auto eq = item.find('=');
      try {
        if (eq == std::string::npos) throw xl::sim::ConfigError("expected KEY=VALUE, got '" + item + "'");
        xl::sim::applyRuntimeKey(*c, item.substr(0, eq), item.substr(eq + 1));
      } catch (const std::exception& e) {
        std::printf("? %s\n", e.what());
        std::fflush(stdout);
        return;
      }
    }
    say(first + " " + std::to_string(address) + ": " + xl::sim::describeFaults(c->faults()));
  }
};

// Commands are read from a terminal only while the tool is in its foreground; in the background
// a read would stop the process.
bool commandsReadable(bool stdinOpen) {
  if (!stdinOpen) return false;
  return !isatty(STDIN_FILENO) || tcgetpgrp(STDIN_FILENO) == getpgrp();
}

// The console's program directory, found by the console's own rule: beside this program in a
// build tree, the user's data folder (xinglan) when installed or when this folder is read-only.
std::filesystem::path programDir() {
  namespace fs = std::filesystem;
  std::error_code ec;
  const auto exe = fs::read_symlink("/proc/self/exe", ec);
  const fs::path dir = ec ? fs::current_path() : exe.parent_path();
  const bool installed = fs::equivalent(dir, XL_INSTALL_BINDIR, ec) && !ec;
  if (!installed && access(dir.c_str(), W_OK) == 0) return dir;
  const char* xdg = std::getenv("XDG_DATA_HOME");
  const char* home = std::getenv("HOME");
  const fs::path data = xdg && *xdg ? fs::path(xdg) : fs::path(home && *home ? home : "/tmp") / ".local/share";
  return data / "xinglan";
}

}  // namespace

int main(int argc, char** argv) {
  std::string configFile;
  std::filesystem::path portsDir;
  double speed = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "xinglan-sim: %s needs a value\n", a.c_str());
        std::exit(2);
      }
      return argv[++i];
    };
    if (a == "--config")
      configFile = value();
    else if (a == "--ports-dir")
      portsDir = value();
    else if (a == "--speed") {
      try {
        speed = std::stod(value());
      } catch (...) {
        speed = -1;
      }
      if (!(speed > 0)) {
        std::fprintf(stderr, "xinglan-sim: --speed needs a number above 0\n");
        return 2;
      }
    } else if (a == "--quiet")
      gQuiet = true;
    else if (a == "--help" || a == "-h") {
      usage();
      return 0;
    } else {
      std::fprintf(stderr, "xinglan-sim: unknown option %s\n", a.c_str());
      usage();
      return 2;
    }
  }

  xl::sim::BusConfig config;
  try {
    if (configFile.empty()) {
      config = xl::sim::defaultConfig();
    } else {
      std::ifstream in(configFile);
      if (!in) {
        std::fprintf(stderr, "xinglan-sim: cannot read %s\n", configFile.c_str());
        return 2;
      }
      std::stringstream text;
      text << in.rdbuf();
      config = xl::sim::parseConfig(text.str());
    }
  } catch (const xl::sim::ConfigError& e) {
    std::fprintf(stderr, "xinglan-sim: %s: %s\n", configFile.c_str(), e.what());
    return 2;
  }
  if (config.stations.empty()) {
    std::fprintf(stderr, "xinglan-sim: no stations\n");
    return 2;
  }
  if (speed > 0) config.clock.speed = speed;
  for (auto& st : config.stations) st.options.clock = config.clock;
  if (portsDir.empty()) portsDir = programDir() / "ports";

  // SIGINT and SIGTERM are let through only while the loop waits, so none is lost in between.
  struct sigaction sa {};
  sa.sa_handler = onSignal;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  sigaction(SIGHUP, &sa, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGTTIN, SIG_IGN);
  sigset_t blocked, waitMask;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGINT);
  sigaddset(&blocked, SIGTERM);
  sigaddset(&blocked, SIGHUP);
  sigprocmask(SIG_BLOCK, &blocked, &waitMask);
  sigdelset(&waitMask, SIGINT);
  sigdelset(&waitMask, SIGTERM);
  sigdelset(&waitMask, SIGHUP);

  Tool tool;
  try {
    for (const auto& st : config.stations) {
      xl::sim::LineServer* l = tool.line(st.port);
      if (!l) {
        tool.lines.push_back(
            std::make_unique<xl::sim::LineServer>(st.port, st.baud, portsDir / st.port, [](const std::string& s) {
              if (!gQuiet) say(s);
            }));
        l = tool.lines.back().get();
      }
      l->attach(std::make_shared<xl::sim::Controller>(st.options));
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "xinglan-sim: %s\n", e.what());
    return 1;
  }
  tool.start = Clock::now();

  for (auto& l : tool.lines) {
    std::string addresses;
    for (const auto& c : l->controllers()) addresses += " " + std::to_string(c->address());
    say(l->pty().link().string() + " -> " + l->pty().slavePath() + " at " + std::to_string(l->baud()) +
        " baud, stations" + addresses);
  }
  std::ostringstream speedText;
  speedText << config.clock.speed;
  say("running; simulated clock x" + speedText.str() + ", type help for commands");

  bool stdinOpen = true;
  std::string pending;
  while (!gStop) {
    Duration now = tool.now();
    Duration wait = std::chrono::milliseconds(200);
    for (auto& l : tool.lines)
      if (auto d = l->nextDeadline()) wait = std::min(wait, std::max(Duration::zero(), *d - now));

    std::vector<pollfd> fds;
    for (auto& l : tool.lines) fds.push_back({l->fd(), POLLIN, 0});
    const bool readCommands = commandsReadable(stdinOpen);
    if (readCommands) fds.push_back({STDIN_FILENO, POLLIN, 0});
    const timespec ts{static_cast<time_t>(wait.count() / 1'000'000),
                      static_cast<long>(wait.count() % 1'000'000) * 1000};
    const int n = ppoll(fds.data(), fds.size(), &ts, &waitMask);
    if (n < 0 && errno != EINTR) {
      std::perror("xinglan-sim: poll");
      break;
    }
    now = tool.now();
    if (n > 0) {
      for (std::size_t i = 0; i < tool.lines.size(); ++i)
        if (fds[i].revents & POLLIN) tool.lines[i]->readInput(now);
      if (readCommands && fds.back().revents) {
        char buf[512];
        const ssize_t got = ::read(STDIN_FILENO, buf, sizeof buf);
        if (got < 0 && (errno == EIO || errno == EINTR || errno == EAGAIN)) {
          // moved to the background meanwhile, or interrupted: try again later
        } else if (got <= 0) {
          stdinOpen = false;
        } else {
          pending.append(buf, static_cast<std::size_t>(got));
          for (std::size_t eol; (eol = pending.find('\n')) != std::string::npos;) {
            tool.command(pending.substr(0, eol));
            pending.erase(0, eol + 1);
          }
        }
      }
    }
    for (auto& l : tool.lines) l->service(now);
  }

  tool.lines.clear();  // closes the terminals and removes the links
  say("stopped");
  return 0;
}
