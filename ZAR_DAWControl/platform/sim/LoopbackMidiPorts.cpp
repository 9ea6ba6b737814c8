#include "ZAR_DAWControl/platform/sim/LoopbackMidiPorts.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

namespace zar::sim {

// The hub's own records; in a named namespace because the hub, a member of the class, holds them.
namespace loopback {
struct Inbox {
  std::string name;
  platform::MidiReceiver receiver;
  bool open = true;
  bool broken = false;  // dropped by the MIDI service: sends fail, nothing arrives
  bool isVirtual = false;
  std::vector<std::shared_ptr<Inbox>> targets;  // where this pair's output goes
};

struct Delivery {
  std::shared_ptr<Inbox> inbox;
  std::vector<std::uint8_t> bytes;
};
}  // namespace loopback

using loopback::Delivery;
using loopback::Inbox;

struct LoopbackMidiPorts::Hub {
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Delivery> queue;
  std::vector<std::shared_ptr<Inbox>> inboxes;
  Inbox* delivering = nullptr;
  std::thread::id deliveryThread;
  std::uint64_t delivered = 0;
  bool stopping = false;

  void run() {
    std::unique_lock lock(mutex);
    deliveryThread = std::this_thread::get_id();
    while (true) {
      changed.wait(lock, [this] { return stopping || !queue.empty(); });
      if (stopping) {
        return;
      }
      Delivery next = std::move(queue.front());
      queue.pop_front();
      if (next.inbox->open && !next.inbox->broken) {
        delivering = next.inbox.get();
        lock.unlock();
        next.inbox->receiver(next.bytes);
        lock.lock();
        delivering = nullptr;
        ++delivered;
      }
      changed.notify_all();
    }
  }

  void close(const std::shared_ptr<Inbox>& inbox) {
    std::unique_lock lock(mutex);
    inbox->open = false;
    std::erase(inboxes, inbox);
    for (const auto& other : inboxes) {
      std::erase(other->targets, inbox);
    }
    inbox->targets.clear();
    // Wait for a receive in progress, unless it is the one closing its own pair.
    if (std::this_thread::get_id() != deliveryThread) {
      changed.wait(lock, [&] { return delivering != inbox.get(); });
    }
  }
};

namespace {
class LoopbackPortPair final : public platform::MidiPortPair {
 public:
  LoopbackPortPair(std::shared_ptr<LoopbackMidiPorts::Hub> hub, std::shared_ptr<Inbox> inbox, std::string inputName,
                   std::string outputName)
      : _hub(std::move(hub)), _inbox(std::move(inbox)), _inputName(std::move(inputName)),
        _outputName(std::move(outputName)) {}
  ~LoopbackPortPair() override { _hub->close(_inbox); }

  bool send(std::span<const std::uint8_t> bytes) override {
    if (bytes.empty()) {
      return true;
    }
    {
      std::lock_guard lock(_hub->mutex);
      if (_inbox->broken) {
        return false;
      }
      for (const auto& target : _inbox->targets) {
        _hub->queue.push_back(Delivery{target, std::vector<std::uint8_t>(bytes.begin(), bytes.end())});
      }
    }
    _hub->changed.notify_all();
    return true;
  }
  std::string inputName() const override { return _inputName; }
  std::string outputName() const override { return _outputName; }

 private:
  std::shared_ptr<LoopbackMidiPorts::Hub> _hub;
  std::shared_ptr<Inbox> _inbox;
  std::string _inputName;
  std::string _outputName;
};

std::shared_ptr<Inbox> findVirtual(const std::vector<std::shared_ptr<Inbox>>& inboxes, const std::string& text) {
  const auto found = std::find_if(inboxes.begin(), inboxes.end(), [&](const std::shared_ptr<Inbox>& inbox) {
    return inbox->isVirtual && inbox->name.find(text) != std::string::npos;
  });
  return found == inboxes.end() ? nullptr : *found;
}
}  // namespace

// The thread shares the hub, so that it may outlive these ports when they are dropped on it.
LoopbackMidiPorts::LoopbackMidiPorts() : _hub(std::make_shared<Hub>()), _thread([hub = _hub] { hub->run(); }) {}

LoopbackMidiPorts::~LoopbackMidiPorts() {
  {
    std::lock_guard lock(_hub->mutex);
    _hub->stopping = true;
  }
  _hub->changed.notify_all();
  if (_thread.get_id() == std::this_thread::get_id()) {
    _thread.detach();  // a receiver let go of the last owner: the thread ends when it returns
  } else {
    _thread.join();
  }
}

std::shared_ptr<platform::MidiPortPair> LoopbackMidiPorts::open(const platform::MidiPortRequest& request,
                                                                platform::MidiReceiver receiver, std::string* error) {
  auto fail = [error](std::string reason) -> std::shared_ptr<platform::MidiPortPair> {
    if (error) {
      *error = std::move(reason);
    }
    return nullptr;
  };
  if (!request.api.empty() && request.api != kApi) {
    return fail("the loopback MIDI ports do not serve the API \"" + request.api + "\"");
  }
  if (!receiver) {
    return fail("no receiver given");
  }
  auto inbox = std::make_shared<Inbox>();
  inbox->name = request.name;
  inbox->receiver = std::move(receiver);
  inbox->isVirtual = request.connectInput.empty() && request.connectOutput.empty();
  std::string inputName = request.name;
  std::string outputName = request.name;
  {
    std::lock_guard lock(_hub->mutex);
    if (!inbox->isVirtual) {
      // Our input listens to a virtual pair's output; our output feeds a virtual pair's input.
      const auto source = request.connectInput.empty() ? nullptr : findVirtual(_hub->inboxes, request.connectInput);
      const auto destination =
          request.connectOutput.empty() ? nullptr : findVirtual(_hub->inboxes, request.connectOutput);
      if ((!request.connectInput.empty() && !source) || (!request.connectOutput.empty() && !destination)) {
        return fail("no loopback MIDI port named like \"" + request.connectInput + request.connectOutput + "\"");
      }
      if (source) {
        source->targets.push_back(inbox);
        inputName = source->name;
      }
      if (destination) {
        inbox->targets.push_back(destination);
        outputName = destination->name;
      }
    }
    _hub->inboxes.push_back(inbox);
  }
  return std::make_shared<LoopbackPortPair>(_hub, std::move(inbox), std::move(inputName), std::move(outputName));
}

void LoopbackMidiPorts::breakPorts(const std::string& name) {
  std::lock_guard lock(_hub->mutex);
  for (const auto& inbox : _hub->inboxes) {
    if (inbox->name == name) {
      inbox->broken = true;
      inbox->targets.clear();
    }
  }
  for (const auto& inbox : _hub->inboxes) {
    std::erase_if(inbox->targets, [](const std::shared_ptr<Inbox>& target) { return target->broken; });
  }
}

void LoopbackMidiPorts::waitUntilIdle() {
  std::unique_lock lock(_hub->mutex);
  if (std::this_thread::get_id() == _hub->deliveryThread) {
    return;
  }
  _hub->changed.wait(lock, [this] { return _hub->stopping || (_hub->queue.empty() && _hub->delivering == nullptr); });
}

std::uint64_t LoopbackMidiPorts::deliveredCount() const {
  std::lock_guard lock(_hub->mutex);
  return _hub->delivered;
}

}  // namespace zar::sim
