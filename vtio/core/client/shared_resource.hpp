/// @file
/// A resource that several clients use, for example one file that they all stream into. See catalogue.hpp.
#pragma once

#include <string>

#include "vtio/export.hpp"

namespace vtio::core::client {

/// Opened when the catalogue accepts it, closed before datasets are built and when the catalogue is destroyed.
class VTIO_EXPORT SharedResource {
 public:
  /// @param name Identifies the resource; compared byte by byte.
  explicit SharedResource(std::string name);

  SharedResource(const SharedResource&) = delete;
  SharedResource& operator=(const SharedResource&) = delete;

  virtual ~SharedResource();
  virtual void open() = 0;
  /// Must tolerate being called more than once.
  virtual void close() = 0;
  virtual void reopen() = 0;

  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  std::string name_;
};

}  // namespace vtio::core::client
