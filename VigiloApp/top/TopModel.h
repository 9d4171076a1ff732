#pragma once

#include <optional>
#include <string>
#include <vector>

#include "VigiloApp/control/RecentLog.h"
#include "VigiloApp/control/StatusReport.h"
#include "VigiloApp/top/Glyphs.h"
#include "usage/UsageRecords.h"

namespace vigilo {

// All that the live view knows. A plain value: what is drawn follows from it and the terminal's size alone.
struct TopModel {
  enum class Connection {
    connecting,    // at the start, for a moment
    live,          // the host tells every change
    noHost,        // nobody listens
    notAnswering,  // somebody does, and is of no use; `trouble` says why
  };
  enum class Mode { view, help, pause };
  struct Notice {
    std::string text;
    bool isError = false;
  };

  Date now;
  std::string home;  // of the user; shown as "~"

  Connection connection = Connection::connecting;
  std::string trouble;
  std::optional<Date> lostAt;  // when a host that was there went away

  std::optional<StatusReport> report;  // absent unless live
  Date reportedAt;
  std::vector<UsageHour> usageHours;  // oldest first
  std::vector<LogEntry> recentLog;    // newest last; stays when the host goes

  Mode mode = Mode::view;
  std::optional<Notice> notice;  // what a key did
  int scroll = 0;                // lines of the sessions above the first one shown
};

// What the drawing functions share: the model, the terminal's signs, and the width to keep to.
struct TopView {
  const TopModel& model;
  const Glyphs& glyphs;
  int width;

  TopView within(int narrower) const { return {model, glyphs, narrower}; }
};

}  // namespace vigilo
