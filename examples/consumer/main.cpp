#include <cstdio>

#include "kiv/kiv.hpp"

int main() {
  const kiv::Dictionary d = kiv::parseJSON(R"({"user":{"name":"Ann","age":"41"}})").asDictionary();
  const kiv::Value& age = kiv::kiv_valueForKey(d, "user.age");
  std::printf("%s is %d\n", kiv::kiv_valueForKey(d, "user.name").description().c_str(), age.intValue());
  return age.intValue() == 41 ? 0 : 1;
}
