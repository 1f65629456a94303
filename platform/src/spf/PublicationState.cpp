#include "spf/PublicationState.hpp"

#include "spf/Messages.hpp"

namespace varnek::spf {
namespace {

Words failureOr(const ProviderFailure& failure) {
    try {
        return encodeFailure(failure);
    } catch (const RemoteError& error) { // it is too large to be told
        return encodeError(error);
    }
}

} // namespace

Words PublicationState::answer(const Words& request) {
    try {
        return encodeResult(call(request));
    } catch (const RemoteError& error) {
        return encodeError(error);
    } catch (const ProviderFailure& failure) {
        return failureOr(failure);
    } catch (const std::exception& failure) {
        return failureOr(ProviderFailure("", failure.what()));
    } catch (...) {
        return failureOr(ProviderFailure("", "Unknown"));
    }
}

Value PublicationState::call(const Words& request) {
    const concurrency::RunningCalls::Call running(calls_);
    const std::shared_ptr<ServiceProvider> provider = isOpen_ ? provider_ : nullptr;
    if (provider == nullptr)
        throw RemoteError(RemoteErrorKind::disconnected,
                          "The service \"" + name + "\" is not published any more");
    const Message message = decodeMessage(request.all());
    return provider->invoke(message.name, message.values);
}

void PublicationState::end() {
    isOpen_ = false;
    calls_.wait();
    provider_.reset();
}

} // namespace varnek::spf
