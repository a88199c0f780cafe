// The run settings, the model's logging selection and the shared resources of a Catalogue.
#include <algorithm>
#include <utility>

#include "vtio/core/client/catalogue.hpp"

namespace vtio::core::client {

const ustring& Catalogue::settings(SettingKeys key) const {
  const auto found = settings_.find(key);
  return found == settings_.end() ? emptySetting_ : found->second;
}

void Catalogue::settings(SettingKeys key, ustring value) { settings_.insert_or_assign(key, std::move(value)); }

void Catalogue::setModelLoggingInfo(const ustring& fileName) {
  modelLoggingInfo_ = std::make_unique<sigstg::ModelLoggingInfo>();
  modelLoggingInfo_->populateFromQatFile(fileName);
}

void Catalogue::setModelLoggingInfo(const qxArray* selection) {
  modelLoggingInfo_ = std::make_unique<sigstg::ModelLoggingInfo>();
  modelLoggingInfo_->populateFromQxArray(selection);
}

bool Catalogue::signalLoggingOverride(const SignalDescriptor& descriptor) {
  if (modelLoggingInfo_ == nullptr) return true;
  const vtu::FullBlkPathToTopMdl& path = descriptor.blockPath();
  const unsigned long port = descriptor.connectedPortIndex();
  const unsigned selector = modelLoggingInfo_->getSelectorSetting(path, port);
  if (selector >= 2) {
    descriptors_.at(descriptor.catalogueIndex_)->overrideSignal(modelLoggingInfo_->getLoggingInfo(path, port));
  }
  return selector != 0;
}

SharedResource* Catalogue::getSharedResource(const std::string& name) const {
  const auto found = std::find_if(sharedResources_.begin(), sharedResources_.end(),
                                  [&name](const auto& resource) { return resource->name() == name; });
  return found == sharedResources_.end() ? nullptr : found->get();
}

void Catalogue::addSharedResource(std::unique_ptr<SharedResource> resource) {
  if (getSharedResource(resource->name()) != nullptr) return;
  resource->open();
  sharedResources_.push_back(std::move(resource));
}

void Catalogue::reopenSharedResource() {
  for (const auto& resource : sharedResources_) resource->reopen();
}

void Catalogue::closeSharedResources() {
  for (const auto& resource : sharedResources_) resource->close();
}

}  // namespace vtio::core::client
