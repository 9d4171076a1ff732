#include "platform/linux/SysfsPowerSource.h"

#include <libudev.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "platform/linux/Bus.h"
#include "platform/linux/SysfsFile.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr auto rereadInterval = 30s;
constexpr auto settleTime = 1s;

// Charges, currents and voltages beyond this are no battery's: a product of two stays inside the integers.
constexpr std::int64_t mostFactor = 1'000'000'000;

struct Battery {
  std::optional<std::string> status;
  std::optional<std::int64_t> capacity;               // percent
  std::optional<std::int64_t> energyNow, energyFull;  // microwatt-hours
  std::optional<std::int64_t> power;                  // microwatts, without sign
  std::optional<std::int64_t> secondsToEmpty;
};

struct Supplies {
  std::vector<Battery> batteries;
  std::vector<std::optional<std::int64_t>> online;
};

// A charge or a current at a voltage, as energy or power.
std::optional<std::int64_t> atVoltage(std::optional<std::int64_t> amount,
                                      std::optional<std::int64_t> voltage) {
  if (!amount || !voltage || *voltage <= 0) return std::nullopt;
  return *amount * *voltage / 1'000'000;
}

Battery readBattery(const std::string& folder) {
  const auto read = [&](const char* name) { return sysfs::readInteger(folder + "/" + name); };
  const auto factor = [&](const char* name) { return sysfs::readInteger(folder + "/" + name, mostFactor); };
  auto voltage = factor("voltage_min_design");
  if (!voltage || *voltage <= 0) voltage = factor("voltage_now");
  Battery battery;
  battery.status = sysfs::readText(folder + "/status");
  battery.capacity = read("capacity");
  battery.energyNow = read("energy_now");
  battery.energyFull = read("energy_full");
  if (!battery.energyNow || !battery.energyFull) {
    battery.energyNow = atVoltage(factor("charge_now"), voltage);
    battery.energyFull = atVoltage(factor("charge_full"), voltage);
  }
  battery.power = read("power_now");
  if (!battery.power) battery.power = atVoltage(factor("current_now"), voltage);
  if (battery.power) battery.power = std::abs(*battery.power);
  battery.secondsToEmpty = read("time_to_empty_now");
  return battery;
}

Supplies readSupplies(const std::string& root) {
  Supplies supplies;
  for (const auto& folder : sysfs::folders(root + "/class/power_supply")) {
    const auto type = sysfs::readText(folder + "/type");
    if (!type || sysfs::readText(folder + "/scope") == "Device") continue;
    if (*type == "Battery" || *type == "UPS") {
      if (sysfs::readInteger(folder + "/present") != 0) supplies.batteries.push_back(readBattery(folder));
    } else if (*type == "Mains" || *type == "USB" || *type == "Wireless") {
      supplies.online.push_back(sysfs::readInteger(folder + "/online"));
    }
  }
  return supplies;
}

bool anyHasStatus(const std::vector<Battery>& batteries, const char* status) {
  return std::any_of(batteries.begin(), batteries.end(),
                     [&](const Battery& battery) { return battery.status == status; });
}

bool anyHasStatus(const std::vector<Battery>& batteries) {
  return std::any_of(batteries.begin(), batteries.end(),
                     [](const Battery& battery) { return battery.status.has_value(); });
}

bool isOnMains(const Supplies& supplies) {
  return std::any_of(supplies.online.begin(), supplies.online.end(),
                     [](const auto& each) { return each.value_or(0) >= 1; });
}

// Where no supply is listed, the batteries tell: what does not discharge is fed.
std::optional<std::string> powerSourceState(const Supplies& supplies) {
  const auto& online = supplies.online;
  if (isOnMains(supplies)) return "AC Power";
  if (anyHasStatus(supplies.batteries, "Discharging")) return "Battery Power";
  if (online.empty()) return anyHasStatus(supplies.batteries) ? std::optional("AC Power") : std::nullopt;
  const bool allKnown =
      std::all_of(online.begin(), online.end(), [](const auto& each) { return each.has_value(); });
  return allKnown ? std::optional("Battery Power") : std::nullopt;
}

struct Charge {
  std::optional<std::int64_t> now, full;
};

// One battery knows its percentage best; several count by their energies, or else alike.
Charge chargeOf(const std::vector<Battery>& batteries) {
  if (batteries.size() == 1 && batteries[0].capacity) return {batteries[0].capacity, 100};
  std::int64_t now = 0, full = 0;
  for (const Battery& battery : batteries) {
    if (!battery.energyNow || battery.energyFull.value_or(0) <= 0) continue;
    now += *battery.energyNow;
    full += *battery.energyFull;
  }
  if (full > 0) return {now, full};
  for (const Battery& battery : batteries) {
    now += battery.capacity.value_or(0);
    full += battery.capacity ? 100 : 0;
  }
  return full > 0 ? Charge{now, full} : Charge{};
}

std::optional<std::int64_t> minutesToEmpty(const std::vector<Battery>& batteries) {
  if (!anyHasStatus(batteries, "Discharging")) return std::nullopt;
  if (batteries.size() == 1 && batteries[0].secondsToEmpty.value_or(0) > 0)
    return *batteries[0].secondsToEmpty / 60;
  std::int64_t energy = 0, power = 0;
  for (const Battery& battery : batteries) {
    energy += battery.energyNow.value_or(0);
    power += battery.power.value_or(0);
  }
  if (power <= 0) return std::nullopt;
  return energy * 60 / power;
}

struct UdevDeleter {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_monitor* monitor) const { udev_monitor_unref(monitor); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
};

// The kernel's own events, which need no udev daemon.
std::unique_ptr<udev_monitor, UdevDeleter> monitorPowerSupplies() {
  const std::unique_ptr<udev, UdevDeleter> context(udev_new());
  std::unique_ptr<udev_monitor, UdevDeleter> monitor(udev_monitor_new_from_netlink(context.get(), "kernel"));
  if (monitor == nullptr ||
      udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "power_supply", nullptr) < 0 ||
      udev_monitor_enable_receiving(monitor.get()) < 0)
    return nullptr;
  return monitor;
}

}  // namespace

// Lives on the queue that it reports to.
class SysfsPowerSource::Observation final : public Cancellable {
 public:
  Observation(const SysfsPowerSource& source, Queue& queue, Task changed)
      : source_(source), queue_(queue), changed_(std::make_shared<Task>(std::move(changed))) {
    if (source_.root_ == "/sys") monitor_ = monitorPowerSupplies();
    if (monitor_ != nullptr)
      events_ = queue_.readSource(udev_monitor_get_fd(monitor_.get()), [this] { takeEvents(); });
    reread_ = queue_.timer(rereadInterval, rereadInterval, [this] {
      askForProfile();
      (*changed_)();
    });
    askForProfile();
  }

 private:
  void takeEvents() {
    while (
        const std::unique_ptr<udev_device, UdevDeleter> device{udev_monitor_receive_device(monitor_.get())}) {
    }
    settled_ = queue_.timer(settleTime, Duration::zero(), *changed_);
    (*changed_)();
  }

  void askForProfile() {
    if (source_.profileQueue_ == nullptr) return;
    source_.profileQueue_->async([read = source_.readProfile_, profile = source_.profile_, queue = &queue_,
                                  changed = std::weak_ptr(changed_)] {
      const auto active = read();
      {
        const LockGuard guard(profile->mutex);
        if (std::exchange(profile->active, active) == active) return;
      }
      if (changed.expired()) return;
      queue->async([changed] {
        if (const auto task = changed.lock()) (*task)();
      });
    });
  }

  const SysfsPowerSource& source_;
  Queue& queue_;
  const std::shared_ptr<Task> changed_;
  std::unique_ptr<udev_monitor, UdevDeleter> monitor_;
  CancelToken events_, reread_, settled_;  // they end before what they use
};

SysfsPowerSource::SysfsPowerSource(std::string root, ProfileReader readProfile)
    : root_(std::move(root)),
      readProfile_(std::move(readProfile)),
      profileQueue_(readProfile_ ? AsioQueue::withThread("com.vigilo.powerprofile") : nullptr) {}

std::vector<PowerSourceDescription> SysfsPowerSource::copyPowerSources() {
  const Supplies supplies = readSupplies(root_);
  const auto& batteries = supplies.batteries;
  if (batteries.empty() && !isOnMains(supplies)) return {};
  const Charge charge = chargeOf(batteries);
  PowerSourceDescription source;
  source.powerSourceState = powerSourceState(supplies);
  if (batteries.empty() || anyHasStatus(batteries)) source.isCharging = anyHasStatus(batteries, "Charging");
  source.currentCapacity = charge.now;
  source.maxCapacity = charge.full;
  source.timeToEmpty = minutesToEmpty(batteries);
  source.isBattery = !batteries.empty();
  return {source};
}

bool SysfsPowerSource::isLowPowerModeEnabled() {
  {
    const LockGuard guard(profile_->mutex);
    if (profile_->active) return *profile_->active == "power-saver";
  }
  const auto profile = sysfs::readText(root_ + "/firmware/acpi/platform_profile");
  return profile == "low-power" || profile == "quiet";
}

CancelToken SysfsPowerSource::observe(Queue& queue, Task changed) {
  return std::make_unique<Observation>(*this, queue, std::move(changed));
}

std::unique_ptr<PowerSourceProvider> makePowerSourceProvider() {
  return std::make_unique<SysfsPowerSource>("/sys", [] {
    const auto profile = bus::powerProfile();
    return profile ? std::optional(*profile) : std::nullopt;
  });
}

}  // namespace vigilo
