#include "vtio/core/client/shared_resource.hpp"

#include <utility>

namespace vtio::core::client {

SharedResource::SharedResource(std::string name) : name_(std::move(name)) {}

SharedResource::~SharedResource() = default;

}  // namespace vtio::core::client
