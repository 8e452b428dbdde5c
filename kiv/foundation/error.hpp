// Error and Exception: how the library reports failures that callers may inspect.
//
// Error is a small record {domain, code, message}, the failure that an operation hands back
// (for instance "SqDatabase" with SQLite's result code and message). Exception is thrown only
// where the caller broke a rule that cannot be reported by a return value.
#ifndef KIV_FOUNDATION_ERROR_HPP_
#define KIV_FOUNDATION_ERROR_HPP_

#include <cstdint>
#include <stdexcept>
#include <string>

namespace kiv {

struct Error {
  // Who reports the failure, such as "SqDatabase" or "KivJSON".
  std::string domain;
  // The failure within the domain (for SQLite, its result code).
  std::int64_t code = 0;
  // The localized description.
  std::string message;

  friend bool operator==(const Error&, const Error&) = default;
};

class Exception : public std::runtime_error {
 public:
  // An exception whose what() is "<name>: <reason>".
  Exception(std::string name, std::string reason)
      : std::runtime_error(name + ": " + reason), name_(std::move(name)), reason_(std::move(reason)) {}

  // The kind of rule that was broken, such as "Database already in pool".
  const std::string& name() const noexcept { return name_; }
  // What exactly went wrong.
  const std::string& reason() const noexcept { return reason_; }

 private:
  std::string name_;
  std::string reason_;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_ERROR_HPP_
