#include "spf/ServiceRuntime.hpp"

#include "spf/Background.hpp"
#include "spf/Core.hpp"
#include "spf/Descriptors.hpp"
#include "spf/Engine.hpp"
#include "spf/Journal.hpp"
#include "spf/Messages.hpp"
#include "spf/PublicationState.hpp"
#include "varnek/host/Folders.hpp"
#include "json/Writer.hpp"

#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <new>
#include <random>
#include <sstream>

namespace varnek::spf {

namespace {

std::mutex folderMutex; // guards chosenFolder()

std::filesystem::path& chosenFolder() {
    static auto* const chosen = new std::filesystem::path; // never destroyed
    return *chosen;
}

std::string newProcessName() {
    std::random_device random;
    std::ostringstream name;
    name << ::getpid() << '-' << std::hex << random() << random();
    return name.str();
}

void refuseForkChild() {
    if (isForkChild())
        throw RemoteError(RemoteErrorKind::refused,
                          "The child of a fork() cannot use the remote services of its parent");
}

[[noreturn]] void failAtTheEnd() {
    throw RemoteError(RemoteErrorKind::disconnected, "The process is ending");
}

/// Runs `work` on the thread of the event loop; the result throws what it throws, see resultOf().
template <class Work>
auto onLoop(LoopThread& loop, Work work) {
    using Result = decltype(work(std::declval<Engine&>()));
    std::promise<Result> promise;
    auto result = promise.get_future();
    const bool isPosted =
        loop.post([work = std::move(work), promise = std::move(promise)](Engine& engine) mutable {
            try {
                if constexpr (std::is_void_v<Result>) {
                    work(engine);
                    promise.set_value();
                } else {
                    promise.set_value(work(engine));
                }
            } catch (const kj::Exception& failure) { // belongs to the thread that threw it
                promise.set_exception(std::make_exception_ptr(
                    RemoteError(RemoteErrorKind::unreachable, failure.getDescription().cStr())));
            } catch (...) {
                promise.set_exception(std::current_exception());
            }
        });
    if (!isPosted)
        failAtTheEnd();
    return result;
}

/// Waits for it. The event loop may have ended before it came to the work.
template <class Result>
Result resultOf(std::future<Result> result) {
    try {
        return result.get();
    } catch (const std::future_error&) {
        failAtTheEnd();
    }
}

std::map<std::string, std::string> allProperties(const SPFConfiguration& configuration,
                                                 const ServiceDescription& description) {
    auto properties = description.serviceProperties;
    properties.insert(configuration.runtimeProperties().begin(), configuration.runtimeProperties().end());
    return properties;
}

Words encodeService(const std::string& serviceName, const std::map<std::string, std::string>& properties,
                    const std::string& description) {
    Value::List pairs;
    for (const auto& [name, value] : properties)
        pairs.push_back(Value::List{name, value});
    return encodeMessage(serviceName, {description, std::move(pairs)}, limits::requestBytes);
}

/// The provider is offered from the constructor on.
class PublicationImpl final : public Publication {
  public:
    PublicationImpl(Core& core, std::shared_ptr<PublicationState> state, Words service,
                    std::chrono::milliseconds limit)
        : core_(core), state_(std::move(state)) {
        auto published =
            onLoop(core.loop, [state = state_, words = std::move(service)](Engine& engine) mutable {
                try {
                    engine.watchFolder();
                } catch (const std::system_error& failure) { // an endpoint that is removed stays away
                    note(log::Severity::warning, "Cannot watch the endpoints: ", failure.what());
                }
                engine.server.publish(state, std::move(words));
            });
        // A limit without any time is over already.
        if (limit <= limit.zero() ||
            published.wait_for(std::min(limit, longestLimit)) != std::future_status::ready) {
            end();
            throw PublicationTimeout("The publication of \"" + state_->name + "\" was not confirmed in time");
        }
        try {
            resultOf(std::move(published));
        } catch (...) {
            end();
            throw;
        }
    }
    ~PublicationImpl() override {
        if (isForkChild())
            return;
        try {
            if (registration_)
                registration_.Unregister();
        } catch (const std::exception&) { // its framework has ended
        }
        end();
    }

    void enter(cppmicroservices::BundleContext context, const std::shared_ptr<ServiceProvider>& provider,
               const cppmicroservices::ServiceProperties& properties) {
        registration_ = context.RegisterService<ServiceProvider>(provider, properties);
    }

    void announce(const std::string& topic, Value::List announcement) override {
        if (isForkChild() || state_->listeners == 0)
            return;
        core_.loop.post(
            [number = state_->number, topic,
             words = std::make_shared<const Words>(encodeMessage(topic, announcement, limits::requestBytes))](
                Engine& engine) { engine.server.announce(number, topic, words); });
    }

  private:
    void end() {
        try {
            core_.loop.post([number = state_->number](Engine& engine) { engine.server.withdraw(number); });
        } catch (const std::bad_alloc&) { // it stays offered; its calls fail
        }
        state_->end();
    }

    Core& core_;
    const std::shared_ptr<PublicationState> state_;
    cppmicroservices::ServiceRegistration<ServiceProvider> registration_;
};

} // namespace

RemoteService::~RemoteService() = default;
PublicationTimeout::~PublicationTimeout() = default;
Publication::~Publication() = default;

class ServiceRuntime::Impl {
  public:
    Impl() { core.processName = newProcessName(); }

    void start() {
        refuseForkChild();
        const std::lock_guard lock(mutex_); // no once_flag: a beginning that failed is tried again
        if (isStarted_)
            return;
        if (process_ != ::getpid())
            core.processName = newProcessName(); // it was that of a parent that had not begun
        core.folder = endpointFolder();
        watchForks();
        core.loop.start(core);
        isStarted_ = true;
        std::atexit(endWithTheProcess);
    }

    Core core;
    std::atomic<bool> isDiscovering{false};

  private:
    static void endWithTheProcess() { instance().impl_->end(); }

    /// At the end of the process, on any thread but that of the event loop.
    void end() {
        if (isForkChild())
            return;
        const auto last = std::chrono::steady_clock::now() + patienceAtExit;
        const auto patience = [&] {
            return std::max(std::chrono::milliseconds::zero(),
                            std::chrono::duration_cast<std::chrono::milliseconds>(
                                last - std::chrono::steady_clock::now()));
        };
        core.loop.end();
        core.workers.end(patience());
        core.announcements.end(patience());
        core.services.end(patience());
    }

    std::mutex mutex_; // guards isStarted_
    bool isStarted_ = false;
    const pid_t process_ = ::getpid();
};

ServiceRuntime::ServiceRuntime(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
ServiceRuntime::~ServiceRuntime() = default;

ServiceRuntime& ServiceRuntime::instance() {
    static auto* const runtime = new ServiceRuntime(std::make_unique<Impl>());
    return *runtime;
}

std::filesystem::path ServiceRuntime::endpointFolder() {
    {
        const std::lock_guard lock(folderMutex);
        if (!chosenFolder().empty())
            return chosenFolder();
    }
    return host::runtimeFolder() / "varnek-spf";
}

void ServiceRuntime::setEndpointFolder(std::filesystem::path folder) {
    const std::lock_guard lock(folderMutex);
    chosenFolder() = std::move(folder);
}

std::unique_ptr<Publication>
ServiceRuntime::publish(cppmicroservices::BundleContext context, const SPFConfiguration& configuration,
                        const std::string& serviceName, const ServiceDescription& description,
                        std::shared_ptr<ServiceProvider> provider, std::chrono::milliseconds limit) {
    if (provider == nullptr || serviceName.empty())
        throw std::invalid_argument("A published service needs a name and a provider");
    impl_->start();
    const auto properties = allProperties(configuration, description);
    const std::string json = json::write(description.toProperties());
    Core& core = impl_->core;
    auto state = std::make_shared<PublicationState>(core.newNumber(), serviceName, provider);
    auto publication = std::make_unique<PublicationImpl>(core, std::move(state),
                                                         encodeService(serviceName, properties, json), limit);
    publication->enter(std::move(context), provider,
                       serviceProperties(serviceName, core.processName, properties, json));
    note(log::Severity::info, "Published the service \"", serviceName, '"');
    return publication;
}

void ServiceRuntime::discover(cppmicroservices::BundleContext context) {
    impl_->start();
    Core& core = impl_->core;
    resultOf(onLoop(core.loop, [](Engine& engine) { engine.watchFolder(); })); // what can fail goes first
    core.services.post([&discovery = core.discovery, mine = std::move(context)]() mutable {
        discovery.add(std::move(mine));
    });
    impl_->isDiscovering = true;
    resultOf(onLoop(core.loop, [](Engine& engine) { engine.client.discover(); }));
}

std::vector<ServiceRuntime::UnusableProcess> ServiceRuntime::unusableProcesses() const {
    refuseForkChild();
    if (!impl_->isDiscovering)
        return {};
    return resultOf(onLoop(impl_->core.loop, [](Engine& engine) { return engine.client.unusable(); }));
}

std::vector<std::string> ServiceRuntime::answeringProcesses() const {
    refuseForkChild();
    if (!impl_->isDiscovering)
        return {};
    return resultOf(onLoop(impl_->core.loop, [](Engine& engine) { return engine.client.answering(); }));
}

const std::string& ServiceRuntime::processName() const noexcept {
    return impl_->core.processName;
}

} // namespace varnek::spf
