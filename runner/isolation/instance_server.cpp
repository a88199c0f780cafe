#include "runner/isolation/instance_server.hpp"

#include <memory>
#include <utility>
#include <vector>

#include "runner/fmu/co_simulation.hpp"
#include "runner/fmu/model_exchange.hpp"
#include "runner/isolation/calls.hpp"

namespace vtio::runner {
namespace {

// The state of an FMU is known by its address in this process.
void* addressOf(std::uint64_t state) {
  return reinterpret_cast<void*>(state);  // NOLINT(performance-no-int-to-ptr): it comes from numberOf()
}

std::uint64_t numberOf(const void* state) { return reinterpret_cast<std::uint64_t>(state); }

class InstanceServer {
 public:
  InstanceServer(Channel& channel, const ModelDescription& model, const InstanceSetup& setup, Kind kind)
      : channel_(channel), model_(model), setup_(setup), kind_(kind) {
    setup_.message = [this](std::string_view category, std::string_view text) {
      note_.clear();
      note_.put(Answer::message);
      note_.putText(category);
      note_.putText(text);
      reached_ = channel_.send(note_) && reached_;
    };
  }

  void serve() {
    answer([this] { instantiate(); });
    while (reached_ && channel_.receive(request_) == Received::parcel) {
      answer([this] { call(request_.take<Call>()); });
    }
  }

 private:
  void instantiate() {
    if (kind_ == Kind::modelExchange) {
      auto made = makeModelExchange(model_, setup_);
      modelExchange_ = made.get();
      instance_ = std::move(made);
    } else {
      auto made = makeCoSimulation(model_, setup_);
      coSimulation_ = made.get();
      instance_ = std::move(made);
    }
  }

  template <typename Action>
  void answer(const Action& action) {
    reply_.clear();
    reply_.put(Answer::result);
    try {
      action();
    } catch (const RunnerError& error) {
      putError(error.status(), error.what());
    } catch (const std::exception& error) {
      putError(ExitStatus::failed, error.what());
    }
    reached_ = reached_ && channel_.send(reply_);
  }

  void putError(ExitStatus status, const char* what) {
    reply_.clear();
    reply_.put(Answer::error);
    reply_.put(status);
    reply_.putText(what);
  }

  void call(Call call) {
    switch (call) {
      case Call::get:
        return get();
      case Call::set:
        return set();
      case Call::getTexts:
        return getTexts();
      case Call::setTexts:
        return setTexts();
      case Call::getBinaries:
        return getBinaries();
      case Call::setBinaries:
        return setBinaries();
      case Call::getState:
      case Call::setState:
      case Call::freeState:
        return handleState(call, addressOf(request_.take<std::uint64_t>()));
      case Call::enterInitialization:
        return enterInitialization();
      case Call::getInterval:
      case Call::getShift:
        return askClock(call, request_.take<std::uint32_t>());
      case Call::doStep:
        return doStep();
      case Call::moveTo:
        return moveTo();
      default:
        return call >= Call::countStates ? askModelExchange(call) : changeMode(call);
    }
  }

  void get() {
    const auto type = request_.take<VariableType>();
    request_.takeArray(references_);
    values_.resize(request_.take<std::size_t>() * bytesOf(type));
    instance_->get(type, references_, values_.data(), values_.size() / bytesOf(type));
    reply_.append(values_.data(), values_.size());
  }

  void set() {
    const auto type = request_.take<VariableType>();
    request_.takeArray(references_);
    request_.takeArray(values_);
    instance_->set(type, references_, values_.data(), values_.size() / bytesOf(type));
  }

  void getTexts() {
    request_.takeArray(references_);
    std::vector<const char*> texts(request_.take<std::size_t>());
    instance_->getTexts(references_, texts);
    for (const char* text : texts) reply_.putText(text != nullptr ? text : "");
  }

  void setTexts() {
    request_.takeArray(references_);
    std::vector<std::string> texts(request_.take<std::size_t>());
    for (std::string& text : texts) text = request_.takeText();
    std::vector<const char*> addresses;
    addresses.reserve(texts.size());
    for (const std::string& text : texts) addresses.push_back(text.c_str());
    instance_->setTexts(references_, addresses);
  }

  void getBinaries() {
    request_.takeArray(references_);
    const auto count = request_.take<std::size_t>();
    std::vector<std::size_t> sizes(count);
    std::vector<const std::uint8_t*> binaries(count);
    instance_->getBinaries(references_, sizes, binaries);
    for (std::size_t i = 0; i < count; ++i) {
      const bool has = binaries[i] != nullptr;
      reply_.putText({has ? reinterpret_cast<const char*>(binaries[i]) : "", has ? sizes[i] : 0});
    }
  }

  void setBinaries() {
    request_.takeArray(references_);
    const auto count = request_.take<std::size_t>();
    std::vector<std::size_t> sizes(count);
    std::vector<const std::uint8_t*> binaries(count);
    for (std::size_t i = 0; i < count; ++i) {
      const std::string_view bytes = request_.takeText();
      sizes[i] = bytes.size();
      binaries[i] = reinterpret_cast<const std::uint8_t*>(bytes.data());
    }
    instance_->setBinaries(references_, sizes, binaries);
  }

  void handleState(Call call, void* state) {
    if (call == Call::freeState) return instance_->freeState(state);
    if (call == Call::setState) return instance_->setState(state);
    instance_->getState(state);
    reply_.put(numberOf(state));
  }

  void enterInitialization() { instance_->enterInitialization(request_.take<Experiment>()); }

  void askClock(Call call, std::uint32_t clock) {
    const bool asFraction = request_.take<bool>();
    if (call == Call::getShift) return reply_.put(instance_->getShift(clock, asFraction));
    reply_.put(instance_->getInterval(clock, asFraction));
  }

  void doStep() {
    const auto time = request_.take<double>();
    const auto step = request_.take<double>();
    reply_.put(coSimulation_->doStep(time, step, request_.take<bool>()));
    const IntermediateSamples& between = coSimulation_->intermediate();
    reply_.putArray(std::span(between.times));
    reply_.putArray(std::span(between.values));
  }

  void moveTo() {
    const auto time = request_.take<double>();
    request_.takeArray(states_);
    reply_.put(modelExchange_->moveTo(time, states_));
  }

  void askModelExchange(Call call) {
    switch (call) {
      case Call::countStates:
        return reply_.put(modelExchange_->stateCount());
      case Call::countIndicators:
        return reply_.put(modelExchange_->indicatorCount());
      case Call::hasJacobian:
        return reply_.put(modelExchange_->hasJacobian());
      case Call::completeStep:
        return reply_.put(modelExchange_->completeStep(request_.take<bool>()));
      default:
        states_.resize(request_.take<std::size_t>());
        reply_.put(fill(call));
        reply_.append(states_.data(), states_.size() * sizeof(double));
    }
  }

  bool fill(Call call) {
    switch (call) {
      case Call::getDerivatives:
        return modelExchange_->getDerivatives(states_);
      case Call::getIndicators:
        return modelExchange_->getIndicators(states_);
      case Call::getJacobian:
        return modelExchange_->getJacobian(states_);
      case Call::getStates:
        modelExchange_->getStates(states_);
        return true;
      default:
        modelExchange_->getNominals(states_);
        return true;
    }
  }

  void changeMode(Call call) {
    switch (call) {
      case Call::enterConfiguration:
        return instance_->enterConfiguration();
      case Call::exitConfiguration:
        return instance_->exitConfiguration();
      case Call::exitInitialization:
        return instance_->exitInitialization();
      case Call::enterEvents:
        return instance_->enterEvents();
      case Call::updateDiscreteStates:
        return reply_.put(instance_->updateDiscreteStates());
      case Call::leaveEvents:
        return instance_->leaveEvents();
      default:
        return instance_->terminate();
    }
  }

  Channel& channel_;
  const ModelDescription& model_;
  InstanceSetup setup_;
  Kind kind_;
  std::unique_ptr<Instance> instance_;
  CoSimulation* coSimulation_ = nullptr;    // instance_, if it is one
  ModelExchange* modelExchange_ = nullptr;  // likewise
  Parcel request_, reply_, note_;
  std::vector<std::uint32_t> references_;
  std::vector<std::byte> values_;
  std::vector<double> states_;  // or what else the solver wants
  bool reached_ = true;         // whether the other end still takes what is sent
};

}  // namespace

void serveInstance(Channel& channel, const ModelDescription& model, const InstanceSetup& setup, Kind kind) {
  InstanceServer(channel, model, setup, kind).serve();
}

}  // namespace vtio::runner
