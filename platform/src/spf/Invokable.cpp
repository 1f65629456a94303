#include "spf/Invokable.hpp"

namespace varnek::spf {

ServiceProvider::~ServiceProvider() = default;
Invokable::~Invokable() = default;

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    Subscription(std::move(other)).end_.swap(end_);
    return *this;
}

Subscription::~Subscription() {
    if (end_)
        end_();
}

} // namespace varnek::spf
