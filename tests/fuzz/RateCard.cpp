#include "tests/fuzz/Fuzz.h"
#include "usage/ModelRateCard.h"

using namespace vigilo;

// A model has a window, a rate and a cost, or none of them.
VIGILO_FUZZ(text) {
  const std::string model(text);
  const bool isKnown = ModelRateCard::rate(model).has_value();
  fuzz::require(ModelRateCard::contextWindow(model).has_value() == isKnown);
  fuzz::require(ModelRateCard::estimateCost(model, {.inputTokens = 1}).has_value() == isKnown);
}
