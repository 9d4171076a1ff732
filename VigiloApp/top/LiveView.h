#pragma once

#include <functional>
#include <memory>
#include <string>

#include "VigiloApp/control/ControlLink.h"
#include "VigiloApp/top/TopLayout.h"
#include "VigiloApp/top/TopModel.h"

namespace vigilo {

// The live view's own life: follows the host, asks it for what the following does not carry, carries out
// keys, and has the screen drawn once a second and after every change. Knows no terminal. Lives on one queue:
// built, called and destroyed there, and what it calls is called there.
class LiveView {
 public:
  struct Parts {
    Queue& queue;
    Clock clock;
    std::string controlSocket;
    std::string home;
    const Glyphs& glyphs;
    std::function<void(const Screen&)> draw;
    std::function<void()> quit;
  };

  explicit LiveView(Parts parts);
  ~LiveView() { *self_ = nullptr; }

  void start();
  // The terminal has this size from now on.
  void resize(int width, int height);
  // A character, or a TopKey.
  void press(int key);

 private:
  void tick();
  void follow();
  void heard(const ControlResponse& response);
  void lost();
  void askForUsage();
  void askForLog();
  bool accepted(const std::optional<ControlResponse>& response);

  void pressInView(int key);
  void pressInPause(int key);
  void scrollBy(int lines);
  void change(const ControlRequest& request, const std::string& doing, const std::string& done);
  void toggle(const char* setting, bool now, const char* whenOn, const char* whenOff);
  void tell(std::string text, bool isError = false);

  void drawSoon();
  void draw();

  const Parts parts_;
  ControlLink link_;
  TopModel model_;
  int width_ = 80;
  int height_ = 24;
  int scrollPage_ = 1;
  bool isFollowing_ = false;
  bool isRefused_ = false;   // the host's last word to the following was no status
  bool isLogStale_ = false;  // something has happened since the log was asked for
  bool isDrawingSoon_ = false;
  Date followedAt_;
  Date usageAskedAt_;
  Date noticeAt_;
  CancelToken ticks_;
  // Null once destroyed: tasks that come later look here first.
  const std::shared_ptr<LiveView*> self_;
};

}  // namespace vigilo
