#include "spf/RemoteInvokable.hpp"

#include "spf/Core.hpp"
#include "spf/Descriptors.hpp"
#include "spf/Engine.hpp"
#include "spf/Messages.hpp"
#include "spf/PendingCall.hpp"

#include <algorithm>
#include <new>

namespace varnek::spf {
namespace {

using Clock = std::chrono::steady_clock;

std::string label(const RemotePublication& publication, const std::string& method) {
    return "Call of \"" + method + "\" of the service \"" + publication.name + "\" of process " +
           std::to_string(publication.process->id);
}

} // namespace

void ListenerState::call(const Value::List& announcement) {
    const concurrency::RunningCalls::Call running(calls_);
    std::shared_ptr<const Invokable::Listener> listener;
    {
        const std::lock_guard lock(mutex_);
        listener = listener_;
    }
    if (listener != nullptr)
        (*listener)(announcement);
}

void ListenerState::end() noexcept {
    std::shared_ptr<const Invokable::Listener> gone; // destroyed without the lock
    {
        const std::lock_guard lock(mutex_);
        gone.swap(listener_);
    }
    calls_.wait();
}

std::future<Value> RemoteInvokable::invoke(const std::string& method, Value::List arguments,
                                           std::chrono::milliseconds limit) {
    const auto end = Clock::now() + std::clamp(limit, limit.zero(), longestLimit);
    const auto call = std::make_shared<PendingCall>(label(*publication_, method));
    auto future = call->future();
    if (isForkChild()) {
        call->fail(RemoteErrorKind::refused,
                   "The child of a fork() cannot use the connections of its parent");
        return future;
    }
    try {
        Words request = encodeMessage(method, arguments, limits::requestBytes);
        publication_->process->core.loop.post(
            [publication = publication_, call, end, words = std::move(request)](Engine& engine) {
                engine.client.call(*publication, words, call, end);
            });
    } catch (const RemoteError& error) {
        call->fail(error.kind(), error.what());
    }
    return future;
}

Subscription RemoteInvokable::listen(const std::string& topic, Listener listener) {
    if (topic.size() > limits::topicBytes)
        throw RemoteError(RemoteErrorKind::tooLarge, "The name of a topic is too long");
    if (isForkChild())
        return {};
    Core& core = publication_->process->core;
    const std::uint64_t number = core.newNumber();
    const auto state = std::make_shared<ListenerState>(std::move(listener));
    const std::uint64_t connection = publication_->process->connection;
    Subscription subscription([&core, state, connection, number] {
        if (isForkChild())
            return;
        state->end();
        try {
            core.loop.post(
                [connection, number](Engine& engine) { engine.client.endListening(connection, number); });
        } catch (const std::bad_alloc&) { // what comes is not heard; the other process tells it all the same
        }
    });
    core.loop.post([publication = publication_, topic, state, number](Engine& engine) {
        engine.client.listen(*publication, topic, state, number);
    });
    return subscription;
}

std::shared_ptr<Invokable> RegisteredService::invokable() const {
    return publication_->isAlive() ? std::make_shared<RemoteInvokable>(publication_) : nullptr;
}

} // namespace varnek::spf
