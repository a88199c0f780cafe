#include "runner/isolation/isolated_instance.hpp"

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "runner/isolation/calls.hpp"
#include "runner/isolation/channel.hpp"
#include "runner/isolation/child_process.hpp"
#include "runner/isolation/instance_server.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

const char* nameOf(Call call) {
  static constexpr std::array<const char*, kCalls> kNames{"the instantiation",
                                                          "reading values",
                                                          "setting values",
                                                          "reading texts",
                                                          "setting texts",
                                                          "reading binaries",
                                                          "setting binaries",
                                                          "configuration",
                                                          "configuration",
                                                          "the initialisation",
                                                          "the initialisation",
                                                          "the termination",
                                                          "copying its state",
                                                          "setting its state",
                                                          "freeing a state",
                                                          "an event",
                                                          "an event",
                                                          "an event",
                                                          "the interval of a clock",
                                                          "the shift of a clock",
                                                          "a step",
                                                          "counting its states",
                                                          "counting its event indicators",
                                                          "moving its states",
                                                          "its derivatives",
                                                          "its event indicators",
                                                          "its directional derivatives",
                                                          "its directional derivatives",
                                                          "reading its states",
                                                          "reading nominal values",
                                                          "the end of a step"};
  return kNames.at(static_cast<std::size_t>(call));
}

/// @tparam Base CoSimulation or ModelExchange.
template <typename Base>
class IsolatedInstance : public Base {
 public:
  IsolatedInstance(const ModelDescription& model, const InstanceSetup& setup, std::chrono::milliseconds patience,
                   Kind kind)
      : message_(setup.message), patience_(patience) {
    auto [here, there] = Channel::pair();
    channel_.emplace(std::move(here));
    Channel& far = there;
    process_.emplace([&] {
      channel_.reset();
      serveInstance(far, model, setup, kind);
    });
    // The other end is to be in the child alone: its end is the end of the channel.
    const Channel closed(std::move(there));
    receive(Call::instantiate);
  }

  // The FMU may free its instance, for as long as any call may take.
  ~IsolatedInstance() override {
    if (isGone_) return;
    channel_->finish();
    Received more = Received::parcel;
    while (more == Received::parcel) more = channel_->receive(reply_, patience_);
    if (more == Received::timedOut) process_->kill();
  }

  void get(VariableType type, std::span<const std::uint32_t> references, void* values, std::size_t count) override {
    begin(Call::get);
    request_.put(type);
    request_.putArray(references);
    request_.put(count);
    ask(Call::get);
    reply_.takeInto(values, count * bytesOf(type));
  }

  void set(VariableType type, std::span<const std::uint32_t> references, const void* values,
           std::size_t count) override {
    begin(Call::set);
    request_.put(type);
    request_.putArray(references);
    request_.putArray(std::span(static_cast<const std::byte*>(values), count * bytesOf(type)));
    ask(Call::set);
  }

  void getTexts(std::span<const std::uint32_t> references, std::span<const char*> values) override {
    beginMany(Call::getTexts, references, values.size());
    ask(Call::getTexts);
    takeTexts(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = texts_[i].c_str();
  }

  void setTexts(std::span<const std::uint32_t> references, std::span<const char* const> values) override {
    beginMany(Call::setTexts, references, values.size());
    for (const char* text : values) request_.putText(text);
    ask(Call::setTexts);
  }

  void getBinaries(std::span<const std::uint32_t> references, std::span<std::size_t> sizes,
                   std::span<const std::uint8_t*> values) override {
    beginMany(Call::getBinaries, references, values.size());
    ask(Call::getBinaries);
    takeTexts(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      sizes[i] = texts_[i].size();
      values[i] = reinterpret_cast<const std::uint8_t*>(texts_[i].data());
    }
  }

  void setBinaries(std::span<const std::uint32_t> references, std::span<const std::size_t> sizes,
                   std::span<const std::uint8_t* const> values) override {
    beginMany(Call::setBinaries, references, values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      request_.putText({reinterpret_cast<const char*>(values[i]), sizes[i]});
    }
    ask(Call::setBinaries);
  }

  void enterConfiguration() override { askAlone(Call::enterConfiguration); }
  void exitConfiguration() override { askAlone(Call::exitConfiguration); }

  void enterInitialization(const Experiment& experiment) override {
    begin(Call::enterInitialization);
    request_.put(experiment);
    ask(Call::enterInitialization);
  }

  void exitInitialization() override { askAlone(Call::exitInitialization); }

  void terminate() override { askAlone(Call::terminate); }

  void getState(void*& state) override {
    askForState(Call::getState, state);
    const auto number = reply_.take<std::uint64_t>();
    state = reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr): an address of the other process
  }

  void setState(void* state) override { askForState(Call::setState, state); }

  void freeState(void* state) noexcept override {
    if (isGone_) return;
    try {
      askForState(Call::freeState, state);
    } catch (...) {
      isGone_ = true;
    }
  }

  void enterEvents() override { askAlone(Call::enterEvents); }

  EventOutcome updateDiscreteStates() override {
    askAlone(Call::updateDiscreteStates);
    return reply_.take<EventOutcome>();
  }

  ClockInterval getInterval(std::uint32_t clock, bool asFraction) override {
    askForClock(Call::getInterval, clock, asFraction);
    return reply_.take<ClockInterval>();
  }

  double getShift(std::uint32_t clock, bool asFraction) override {
    askForClock(Call::getShift, clock, asFraction);
    return reply_.take<double>();
  }

  void leaveEvents() override { askAlone(Call::leaveEvents); }

 protected:
  [[nodiscard]] Parcel& request() { return request_; }
  [[nodiscard]] Parcel& reply() { return reply_; }

  void begin(Call call) {
    request_.clear();
    request_.put(call);
  }

  void askAlone(Call call) {
    begin(call);
    ask(call);
  }

  // Sends the request and waits for its result, of which the call is taken off.
  void ask(Call call) {
    if (isGone_) throw RunnerError(ExitStatus::failed, "the process of the FMU is gone");
    if (!channel_->send(request_)) failEnded(call);
    receive(call);
  }

 private:
  void beginMany(Call call, std::span<const std::uint32_t> references, std::size_t count) {
    begin(call);
    request_.putArray(references);
    request_.put(count);
  }

  void askForClock(Call call, std::uint32_t clock, bool asFraction) {
    begin(call);
    request_.put(clock);
    request_.put(asFraction);
    ask(call);
  }

  void askForState(Call call, const void* state) {
    begin(call);
    request_.put(reinterpret_cast<std::uint64_t>(state));
    ask(call);
  }

  void receive(Call call) {
    while (true) {
      const Received received = channel_->receive(reply_, patience_);
      if (received == Received::timedOut) failTimedOut(call);
      if (received == Received::ended) failEnded(call);
      const auto answer = reply_.take<Answer>();
      if (answer == Answer::result) return;
      if (answer == Answer::error) failAsTold();
      const std::string category(reply_.takeText());
      if (message_) message_(category, reply_.takeText());
    }
  }

  [[noreturn]] void failAsTold() {
    const auto status = reply_.take<ExitStatus>();
    throw RunnerError(status, std::string(reply_.takeText()));
  }

  [[noreturn]] void failEnded(Call call) {
    isGone_ = true;
    throw ProcessGone("the FMU " + process_->waitForEnd() + " in " + nameOf(call), false);
  }

  [[noreturn]] void failTimedOut(Call call) {
    isGone_ = true;
    process_->kill();
    const double seconds = std::chrono::duration<double>(patience_).count();
    throw ProcessGone(std::string("the FMU did not return from ") + nameOf(call) + " within " + numberText(seconds) +
                          " s and was stopped",
                      true);
  }

  void takeTexts(std::size_t count) {
    texts_.resize(count);
    for (std::string& text : texts_) text = reply_.takeText();
  }

  MessageSink message_;
  std::chrono::milliseconds patience_;
  std::optional<Channel> channel_;
  std::optional<ChildProcess> process_;
  Parcel request_, reply_;
  std::vector<std::string> texts_;  // what the last call got
  bool isGone_ = false;             // the process ended, or is about to
};

class IsolatedCoSimulation final : public IsolatedInstance<CoSimulation> {
 public:
  IsolatedCoSimulation(const ModelDescription& model, const InstanceSetup& setup, std::chrono::milliseconds patience)
      : IsolatedInstance(model, setup, patience, Kind::coSimulation) {
    for (const VariableBatch& batch : setup.intermediate) bytesBetween_ += batch.count * bytesOf(batch.type);
  }

  StepOutcome doStep(double time, double step, bool noSetStatePrior) override {
    begin(Call::doStep);
    request().put(time);
    request().put(step);
    request().put(noSetStatePrior);
    ask(Call::doStep);
    const auto outcome = reply().take<StepOutcome>();
    reply().takeArray(between_.times);
    reply().takeArray(between_.values);
    if (between_.values.size() != between_.times.size() * bytesBetween_) Parcel::refuse();
    return outcome;
  }

  [[nodiscard]] const IntermediateSamples& intermediate() const override { return between_; }

 private:
  IntermediateSamples between_;
  std::size_t bytesBetween_ = 0;  // of one sample
};

class IsolatedModelExchange final : public IsolatedInstance<ModelExchange> {
 public:
  using IsolatedInstance::IsolatedInstance;

  std::size_t stateCount() override { return takeAfter<std::size_t>(Call::countStates); }
  std::size_t indicatorCount() override { return takeAfter<std::size_t>(Call::countIndicators); }

  bool moveTo(double time, std::span<const double> states) override {
    begin(Call::moveTo);
    request().put(time);
    request().putArray(states);
    ask(Call::moveTo);
    return reply().take<bool>();
  }

  bool getDerivatives(std::span<double> derivatives) override { return fill(Call::getDerivatives, derivatives); }
  bool getIndicators(std::span<double> indicators) override { return fill(Call::getIndicators, indicators); }
  bool hasJacobian() override { return takeAfter<bool>(Call::hasJacobian); }
  bool getJacobian(std::span<double> columns) override { return fill(Call::getJacobian, columns); }
  void getStates(std::span<double> states) override { (void)fill(Call::getStates, states); }
  void getNominals(std::span<double> nominals) override { (void)fill(Call::getNominals, nominals); }

  StepCompletion completeStep(bool noSetStatePrior) override {
    begin(Call::completeStep);
    request().put(noSetStatePrior);
    ask(Call::completeStep);
    return reply().take<StepCompletion>();
  }

 private:
  template <typename T>
  T takeAfter(Call call) {
    askAlone(call);
    return reply().take<T>();
  }

  bool fill(Call call, std::span<double> values) {
    begin(call);
    request().put(values.size());
    ask(call);
    const bool known = reply().take<bool>();
    reply().takeInto(values.data(), values.size_bytes());
    return known;
  }
};

}  // namespace

std::unique_ptr<CoSimulation> makeIsolatedCoSimulation(const ModelDescription& model, const InstanceSetup& setup,
                                                       std::chrono::milliseconds patience) {
  return std::make_unique<IsolatedCoSimulation>(model, setup, patience);
}

std::unique_ptr<ModelExchange> makeIsolatedModelExchange(const ModelDescription& model, const InstanceSetup& setup,
                                                         std::chrono::milliseconds patience) {
  return std::make_unique<IsolatedModelExchange>(model, setup, patience, Kind::modelExchange);
}

}  // namespace vtio::runner
