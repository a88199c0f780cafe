#include "conservation.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <stdexcept>

#include "platform/qalc.hpp"
#include "spacecraft.h"

namespace spacecraft {
namespace {

/// Tolerance of the checks of the motion, relative to the largest value that the quantity takes.
constexpr double kRelativeTolerance = 1e-10;
constexpr double kUnitLengthTolerance = 1e-12;

const Leaf& doubles(const Results& results, const char* name, std::size_t width) {
  const Leaf& leaf = results.leaf(name);
  if (qxGetClassID(leaf.data()) != qxDOUBLE || qxIsComplex(leaf.data()) || leaf.width() != width) {
    throw std::runtime_error("the signal '" + leaf.name() + "' is not " + std::to_string(width) + " real double(s)");
  }
  return leaf;
}

/// Lets one index serve several leaves.
void requireSameTimes(const Leaf& leaf, std::initializer_list<const Leaf*> others) {
  for (const Leaf* other : others) {
    for (std::size_t n = 0; n < leaf.samples(); ++n) {
      if (other->samples() != leaf.samples() || other->time(n) != leaf.time(n)) {
        throw std::runtime_error("the signals '" + leaf.name() + "' and '" + other->name() + "' differ in their times");
      }
    }
  }
}

void copySample(const Leaf& leaf, std::size_t n, double* values) {
  for (std::size_t k = 0; k < leaf.width(); ++k) {
    values[k] = leaf.value(n, k);
  }
}

/// Calls use(i, j) for every pair of samples of two leaves at one time.
void forCommonTimes(const Leaf& a, const Leaf& b, const std::function<void(std::size_t, std::size_t)>& use) {
  for (std::size_t i = 0, j = 0; i < a.samples() && j < b.samples();) {
    if (a.time(i) == b.time(j)) {
      use(i++, j++);
    } else if (a.time(i) < b.time(j)) {
      ++i;
    } else {
      ++j;
    }
  }
}

/// Largest deviation of a quantity from its first value.
class Watch {
 public:
  /// @param value Present value of the quantity itself, for the scale of the tolerance.
  /// @param rest The value without what crossed the boundary.
  void add(double value, double rest) {
    start_ = samples_ == 0 ? rest : start_;
    const double deviation = std::abs(rest - start_);
    worst_ = std::isnan(deviation) || deviation > worst_ ? deviation : worst_;
    scale_ = std::max(scale_, std::abs(value));
    ++samples_;
  }

  [[nodiscard]] double scale() const { return scale_; }
  [[nodiscard]] double worst() const { return worst_; }
  [[nodiscard]] std::size_t samples() const { return samples_; }

 private:
  double start_ = 0.0;
  double worst_ = 0.0;
  double scale_ = 0.0;
  std::size_t samples_ = 0;
};

ConservationCheck relativeCheck(const char* quantity, const char* unit, const Watch& watch) {
  return {quantity, unit, watch.worst(), kRelativeTolerance * watch.scale(), watch.samples()};
}

/// The worst component of a vector, measured against the largest one.
ConservationCheck relativeCheck(const char* quantity, const char* unit, const Watch (&watches)[3]) {
  ConservationCheck check{quantity, unit, 0.0, 0.0, watches[0].samples()};
  for (const Watch& watch : watches) {
    check.worst = std::isnan(watch.worst()) || watch.worst() > check.worst ? watch.worst() : check.worst;
    check.tolerance = std::max(check.tolerance, kRelativeTolerance * watch.scale());
  }
  return check;
}

ConservationCheck checkQuaternion(const Results& results) {
  const Leaf& quaternion = doubles(results, "attitude.quaternion", 4);
  double worst = 0.0;
  for (std::size_t n = 0; n < quaternion.samples(); ++n) {
    double q[4]{};
    copySample(quaternion, n, q);
    const double deviation = std::abs(std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]) - 1.0);
    worst = std::isnan(deviation) || deviation > worst ? deviation : worst;
  }
  return {"attitude quaternion, length", "", worst, kUnitLengthTolerance, quaternion.samples()};
}

/// Attitude, body rate and wheel momentum come at different rates; the checks use the times that they share.
void checkRotation(const Results& results, const SpacecraftParameters& parameters,
                   std::vector<ConservationCheck>& checks) {
  const Leaf& attitude = doubles(results, "attitude.quaternion", 4);
  const Leaf& rate = doubles(results, "attitude.motion.rate", 3);
  const Leaf& wheels = doubles(results, "wheels.momentum", kWheelCount);
  const Leaf& impulse = doubles(results, "ledger.turningImpulse", 3);
  const Leaf& motorWork = doubles(results, "ledger.motorWork", 1);
  const Leaf& bearingLoss = doubles(results, "ledger.bearingLoss", 1);
  const Leaf& turningWork = doubles(results, "ledger.turningWork", 1);
  requireSameTimes(attitude, {&rate});
  requireSameTimes(wheels, {&impulse, &motorWork, &bearingLoss, &turningWork});
  Watch momenta[3];
  Watch energy;
  forCommonTimes(attitude, wheels, [&](std::size_t fast, std::size_t n) {
    SpacecraftState state{};
    double momentum[3];
    copySample(attitude, fast, state.attitude);
    copySample(rate, fast, state.rate);
    copySample(wheels, n, state.wheelMomentum);
    spacecraftAngularMomentum(&parameters, &state, momentum);
    for (std::size_t k = 0; k < 3; ++k) {
      momenta[k].add(momentum[k], momentum[k] - impulse.value(n, k));
    }
    const double present = spacecraftRotationalEnergy(&parameters, &state);
    energy.add(present, present - motorWork.value(n) + bearingLoss.value(n) - turningWork.value(n));
  });
  checks.push_back(relativeCheck("angular momentum - thruster impulse", "N*m*s", momenta));
  checks.push_back(relativeCheck("rotational energy - motors + bearings - thrusters", "J", energy));
}

void checkOrbit(const Results& results, const SpacecraftParameters& parameters,
                std::vector<ConservationCheck>& checks) {
  const Leaf& position = doubles(results, "position", 3);
  const Leaf& velocity = doubles(results, "velocity", 3);
  const Leaf& impulse = doubles(results, "ledger.orbitalImpulse", 3);
  const Leaf& work = doubles(results, "ledger.pushingWork", 1);
  requireSameTimes(position, {&velocity});
  requireSameTimes(work, {&impulse});
  Watch momenta[3];
  Watch energy;
  forCommonTimes(position, work, [&](std::size_t i, std::size_t n) {
    SpacecraftState state{};
    double momentum[3];
    copySample(position, i, state.position);
    copySample(velocity, i, state.velocity);
    spacecraftOrbitalMomentum(&parameters, &state, momentum);
    for (std::size_t k = 0; k < 3; ++k) {
      momenta[k].add(momentum[k], momentum[k] - impulse.value(n, k));
    }
    const double present = spacecraftOrbitalEnergy(&parameters, &state);
    energy.add(present, present - work.value(n));
  });
  checks.push_back(relativeCheck("orbital momentum - thruster impulse", "N*m*s", momenta));
  checks.push_back(relativeCheck("orbital energy - thrusters", "J", energy));
}

/// The gauge rounds to its own step, so that two readings are off by one step at most.
ConservationCheck checkBattery(const Results& results) {
  const Leaf& gauge = results.leaf("batteryCharge");
  const Leaf& solar = doubles(results, "ledger.solarEnergy", 1);
  const Leaf& load = doubles(results, "ledger.loadEnergy", 1);
  const Leaf& shunted = doubles(results, "ledger.shuntedEnergy", 1);
  if (qxGetClassID(gauge.data()) != qxUINT16 || gauge.width() != 1) {
    throw std::runtime_error("the signal 'batteryCharge' is not of 16-bit readings");
  }
  requireSameTimes(solar, {&load, &shunted});
  const auto* readings = static_cast<const std::uint16_t*>(qxGetConstData(gauge.data()));
  const double gaugeStep = gauge.slope();
  Watch charge;
  forCommonTimes(gauge, solar, [&](std::size_t i, std::size_t n) {
    const double stored = gaugeStep * readings[i];
    charge.add(stored, stored - (solar.value(n) - load.value(n) - shunted.value(n)) / 3600.0);
  });
  return {"battery charge - solar + load + shunt", "W*h", charge.worst(), 1.0001 * gaugeStep, charge.samples()};
}

}  // namespace

std::vector<ConservationCheck> checkConservation(const Results& results) {
  SpacecraftParameters parameters;
  SpacecraftState start;
  spacecraftDefaults(&parameters, &start);
  std::vector<ConservationCheck> checks{checkQuaternion(results)};
  checkRotation(results, parameters, checks);
  checkOrbit(results, parameters, checks);
  checks.push_back(checkBattery(results));
  return checks;
}

}  // namespace spacecraft
