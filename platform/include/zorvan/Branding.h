// Utility library: the product identity the card was branded with.
#pragma once

#include <string>

namespace zorvan {

class Branding {
 public:
  // The commercial name of the card.
  static std::string getProductName();
};

}  // namespace zorvan
