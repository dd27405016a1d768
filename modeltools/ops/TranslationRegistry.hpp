#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "modeltools/ir/IrOp.hpp"

namespace modeltools {

// Factories of typed objects by type string. One process-wide instance per instantiation,
// made on first use.
template <class Result, class... Args>
class TranslationRegistry {
 public:
  using Factory = std::function<std::shared_ptr<Result>(Args...)>;

  static TranslationRegistry& instance() {
    static TranslationRegistry registry;
    return registry;
  }

  void registerTranslationMethod(const std::string& type, Factory factory, bool overwrite) {
    std::lock_guard lock(mutex_);
    if (factories_.contains(type) && !overwrite) {
      throw std::invalid_argument("modeltools::TranslationRegistry::registerTranslationMethod: Translation: " + type +
                                  " already registered");
    }
    factories_[type] = std::move(factory);
  }

  bool hasTranslationMethod(const std::string& type) const {
    std::lock_guard lock(mutex_);
    return factories_.contains(type);
  }

  std::vector<std::string> registeredTypes() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> types;
    for (const auto& [type, factory] : factories_) types.push_back(type);
    return types;
  }

  // The mutex is held across the factory call.
  std::shared_ptr<Result> applyMethod(const std::string& type, Args... args) {
    std::lock_guard lock(mutex_);
    auto it = factories_.find(type);
    if (it == factories_.end()) {
      throw std::runtime_error("modeltools::TranslationRegistry::applyMethod: Error creating translation type: " + type +
                               ". Is your translation registered?");
    }
    try {
      return it->second(std::forward<Args>(args)...);
    } catch (const std::exception& error) {
      throw std::runtime_error(
          std::string("modeltools::TranslationRegistry::applyMethod: Translation applyMethod returned with error: ") +
          error.what());
    }
  }

 private:
  TranslationRegistry() = default;

  std::map<std::string, Factory> factories_;
  mutable std::mutex mutex_;
};

// The registry of op classes: (name, attributes, inputs, outputs) to a typed op.
using OpTranslationRegistry = TranslationRegistry<ops::IrOp, const std::string&, std::shared_ptr<IrAttributes>,
                                                  const ops::TensorList&, const ops::TensorList&>;

// Registers each op class under its type string (`kType`).
template <class... OpClasses>
void registerOpClasses(OpTranslationRegistry& registry) {
  (registry.registerTranslationMethod(
       OpClasses::kType,
       [](const std::string& name, std::shared_ptr<IrAttributes> attrs, const ops::TensorList& inputs,
          const ops::TensorList& outputs) -> std::shared_ptr<ops::IrOp> {
         return std::make_shared<OpClasses>(name, std::move(attrs), inputs, outputs);
       },
       false),
   ...);
}

}  // namespace modeltools
