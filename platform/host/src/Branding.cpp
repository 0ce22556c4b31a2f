#include "zorvan/Branding.h"

#include "simcard/SimulatedCard.h"

namespace zorvan {

namespace {

// The name a card carries before it is branded for a product line.
constexpr char const* kUnbrandedProductName = "Network Management Card";

}  // namespace

std::string Branding::getProductName() {
  auto const& state = simcard::SimulatedCard::instance().state();
  return state.has_productname() ? state.productname() : kUnbrandedProductName;
}

}  // namespace zorvan
