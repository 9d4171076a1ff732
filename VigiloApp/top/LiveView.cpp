#include "VigiloApp/top/LiveView.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <utility>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/top/TopKey.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;
using Connection = TopModel::Connection;
using Mode = TopModel::Mode;

constexpr auto tickInterval = 1s;
// Changes that come close together are drawn at once.
constexpr auto drawDelay = 40ms;
constexpr double usagePeriod = 10;  // seconds
constexpr double noticeTime = 6;    // seconds
constexpr double silenceLimit = 5;  // seconds
constexpr std::int64_t hoursShown = 24;
constexpr std::int64_t logLines = 60;

constexpr double pauseChoices[] = {15 * 60, 30 * 60, 3600, 4 * 3600};

std::string firstLine(const std::string& message) {
  return message.substr(0, message.find('\n'));
}

}  // namespace

LiveView::LiveView(Parts parts)
    : parts_(std::move(parts)),
      link_(parts_.queue, parts_.controlSocket),
      self_(std::make_shared<LiveView*>(this)) {
  model_.home = parts_.home;
  model_.now = parts_.clock();
}

void LiveView::start() {
  follow();
  // In step with the clock on the screen.
  const double fraction = std::ceil(model_.now.secondsSinceReference) - model_.now.secondsSinceReference;
  const auto first = std::chrono::duration_cast<Duration>(std::chrono::duration<double>(fraction + 0.01));
  ticks_ = parts_.queue.timer(first, tickInterval, [this] { tick(); });
  draw();
}

void LiveView::tick() {
  model_.now = parts_.clock();
  if (!isFollowing_) follow();
  if (!model_.report && model_.connection == Connection::connecting &&
      model_.now - followedAt_ > silenceLimit) {
    model_.connection = Connection::notAnswering;
    model_.trouble = "it takes connections and says nothing";
  }
  if (model_.report) {
    const double since = model_.now - usageAskedAt_;
    if (!(since >= 0 && since < usagePeriod)) askForUsage();
    if (isLogStale_) askForLog();
  }
  const double shownFor = model_.now - noticeAt_;
  if (!(shownFor >= 0 && shownFor < noticeTime)) model_.notice.reset();
  draw();
}

void LiveView::follow() {
  followedAt_ = model_.now;
  isFollowing_ = true;
  isRefused_ = false;
  link_.follow([this](const ControlResponse& response) { heard(response); }, [this] { lost(); });
}

void LiveView::heard(const ControlResponse& response) {
  isRefused_ = !accepted(response);
  if (isRefused_ || !response.status) return drawSoon();
  const bool isNew = !model_.report;
  model_.now = model_.reportedAt = parts_.clock();
  model_.report = response.status;
  isLogStale_ = true;
  if (isNew) {
    askForUsage();
    askForLog();
  }
  drawSoon();
}

void LiveView::lost() {
  isFollowing_ = false;
  if (model_.report) model_.lostAt = parts_.clock();
  model_.report.reset();
  model_.usageHours.clear();
  if (!isRefused_) model_.connection = Connection::noHost;
  drawSoon();
}

// Whether the host said what it was asked for; what it said instead is shown.
bool LiveView::accepted(const std::optional<ControlResponse>& response) {
  // No host at all shows in the following.
  if (!response) return false;
  if (response->exitCode == exitOk) {
    model_.connection = Connection::live;
    return true;
  }
  model_.connection = Connection::notAnswering;
  model_.trouble = firstLine(response->message.value_or("it says nothing"));
  return false;
}

void LiveView::askForUsage() {
  usageAskedAt_ = model_.now;
  isLogStale_ = true;  // errors come without a change of the status
  link_.ask({.command = ControlCommand::usageHours, .limit = hoursShown}, [this](const auto& response) {
    if (!model_.report || !accepted(response) || !response->usageHours) return;
    model_.usageHours = *response->usageHours;
    drawSoon();
  });
}

void LiveView::askForLog() {
  isLogStale_ = false;
  link_.ask({.command = ControlCommand::recentLog, .limit = logLines}, [this](const auto& response) {
    if (!model_.report || !accepted(response) || !response->recentLog) return;
    model_.recentLog = *response->recentLog;
    drawSoon();
  });
}

void LiveView::resize(int width, int height) {
  width_ = width;
  height_ = height;
  draw();
}

void LiveView::press(int key) {
  switch (model_.mode) {
    case Mode::help:
      model_.mode = Mode::view;
      break;
    case Mode::pause:
      pressInPause(key);
      break;
    case Mode::view:
      pressInView(key);
  }
  draw();
}

void LiveView::pressInView(int key) {
  if (key == 'q' || key == 'Q') return parts_.quit();
  if (key == '?' || key == 'H') model_.mode = Mode::help;
  if (key == keyUp || key == 'k') scrollBy(-1);
  if (key == keyDown || key == 'j') scrollBy(1);
  if (key == keyPageUp) scrollBy(-scrollPage_);
  if (key == keyPageDown || key == ' ') scrollBy(scrollPage_);
  if (key == keyHome) model_.scroll = 0;
  if (key == keyEnd) model_.scroll = INT_MAX;
  if (key != 'p' && key != 'r' && key != 'h' && key != 'e') return;
  if (!model_.report) return tell("no host runs: start one with vigilo run", true);
  const SettingsReport& settings = model_.report->settings;
  if (key == 'p') {
    model_.mode = Mode::pause;
    model_.notice.reset();
  } else if (key == 'r') {
    change({.command = ControlCommand::resume}, "ending the pause...", "the pause has ended");
  } else if (key == 'h') {
    toggle("manualHoldEnabled", settings.manualHoldEnabled, "held by hand, also without agents",
           "let go: held for agents only");
  } else {
    toggle("masterEnabled", settings.masterEnabled, "protection is on",
           "protection is off until it is enabled");
  }
}

void LiveView::pressInPause(int key) {
  model_.mode = Mode::view;
  const auto choice = static_cast<std::size_t>(key - '1');
  if (key < '1' || choice >= std::size(pauseChoices)) return;
  const double seconds = pauseChoices[choice];
  change({.command = ControlCommand::pause, .seconds = seconds},
         "pausing for " + durationText(seconds) + "...", "");
}

void LiveView::scrollBy(int lines) {
  model_.scroll = std::max(model_.scroll + lines, 0);
}

void LiveView::toggle(const char* setting, bool now, const char* whenOn, const char* whenOff) {
  change({.command = ControlCommand::setSetting, .key = setting, .value = now ? "false" : "true"},
         "asking the host...", now ? whenOff : whenOn);
}

// What is being done is told at once, what became of it when the host has answered; in the host's own words
// where `done` is empty.
void LiveView::change(const ControlRequest& request, const std::string& doing, const std::string& done) {
  tell(doing);
  link_.ask(request, [this, done](const auto& response) {
    if (!response)
      tell("not done: no host runs any more", true);
    else if (response->exitCode != exitOk)
      tell("not done: " + firstLine(response->message.value_or("the host gives no reason")), true);
    else
      tell(done.empty() ? firstLine(response->message.value_or("done")) : done);
    isLogStale_ = true;
    drawSoon();
  });
}

void LiveView::tell(std::string text, bool isError) {
  model_.notice = TopModel::Notice{std::move(text), isError};
  noticeAt_ = parts_.clock();
}

void LiveView::drawSoon() {
  if (std::exchange(isDrawingSoon_, true)) return;
  parts_.queue.asyncAfter(drawDelay, [self = self_] {
    if (*self != nullptr) (*self)->draw();
  });
}

void LiveView::draw() {
  isDrawingSoon_ = false;
  const TopFrame frame = layOutTop(model_, width_, height_, parts_.glyphs);
  model_.scroll = frame.scroll;
  scrollPage_ = frame.scrollPage;
  parts_.draw(frame.screen);
}

}  // namespace vigilo
