#include "InMemoryKeyManager.hpp"

#include <sodium.h>

#include <algorithm>
#include <new>
#include <stdexcept>

namespace keymanager {

InMemoryKeyManager::InMemoryKeyManager() {
    if (sodium_init() < 0)
        throw std::runtime_error("libsodium cannot be used on this system");
}

void InMemoryKeyManager::Release::operator()(char* bytes) const noexcept {
    sodium_free(bytes); // overwrites them first
}

void InMemoryKeyManager::addSecret(const std::u16string& name, const std::string& secret) {
    Secret kept;
    kept.size = secret.size();
    kept.bytes.reset(static_cast<char*>(sodium_malloc(std::max<std::size_t>(secret.size(), 1))));
    if (kept.bytes == nullptr)
        throw std::bad_alloc();
    std::copy(secret.begin(), secret.end(), kept.bytes.get());
    sodium_mprotect_readonly(kept.bytes.get());
    const std::lock_guard lock(mutex_);
    secrets_.insert_or_assign(name, std::move(kept));
}

std::string InMemoryKeyManager::getSecret(const std::u16string& name) {
    const std::lock_guard lock(mutex_);
    const auto found = secrets_.find(name);
    return found == secrets_.end() ? std::string()
                                   : std::string(found->second.bytes.get(), found->second.size);
}

std::string InMemoryKeyManager::getSecretType() {
    return "in memory";
}

bool InMemoryKeyManager::hasSessionKeyStored(const std::vector<std::u16string>& names) {
    const std::lock_guard lock(mutex_);
    return std::all_of(names.begin(), names.end(),
                       [this](const std::u16string& name) { return secrets_.contains(name); });
}

} // namespace keymanager
