/// Secrets in the memory of this process.
#pragma once

#include "settingscore/security/KeyManager.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace keymanager {

/// Each secret lies in pages of its own that are kept out of swap and core dumps and are overwritten when it
/// goes. Thread-safe: one mutex for the length of a map operation; nothing blocks otherwise. std::bad_alloc
/// when the system grants no more such pages.
class InMemoryKeyManager : public settings::security::KeyManager {
  public:
    /// std::runtime_error when the cryptographic library does not work here.
    InMemoryKeyManager();

    void addSecret(const std::u16string& name, const std::string& secret) override;
    std::string getSecret(const std::u16string& name) override;
    /// "in memory"
    std::string getSecretType() override;
    bool hasSessionKeyStored(const std::vector<std::u16string>& names) override;

  private:
    struct Release {
        void operator()(char* bytes) const noexcept;
    };
    struct Secret {
        std::unique_ptr<char[], Release> bytes;
        std::size_t size = 0;
    };

    std::mutex mutex_;
    std::map<std::u16string, Secret> secrets_;
};

} // namespace keymanager
