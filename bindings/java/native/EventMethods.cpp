#include "Cell.hpp"
#include "Classes.hpp"
#include "Failures.hpp"
#include "Handles.hpp"
#include "Natives.hpp"
#include "Values.hpp"

#include "settingscore/PersonalFileWatch.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "varnek/event/EventManager.hpp"

#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <memory>

namespace vksettings::java {

namespace {

using settings::core::SettingsEvent;
using varnek::data::Array;
using varnek::event::Connection;
using varnek::event::EventHandle;

/// What vksettings.Upcalls.deliver is told of an event.
struct Notice {
    jint kind = 0; // 0: none of those that Java knows
    boost::shared_ptr<const settings::core::Settings> node;
    boost::shared_ptr<const settings::core::Settings> parent;
    Array oldValue;
    bool isToBeMirrored = false; // of an addition
};

Notice noticeOf(const varnek::event::Event& event) {
    Notice notice;
    const auto* const base = dynamic_cast<const SettingsEvent*>(&event);
    if (base == nullptr)
        return notice;
    notice.node = base->getObj();
    if (const auto* const change = dynamic_cast<const settings::core::SettingsValueChangeEvent*>(base)) {
        notice.kind = 1;
        notice.oldValue = change->getOldValue();
    } else if (const auto* const added = dynamic_cast<const settings::core::SettingsAddNodeEvent*>(base)) {
        notice.kind = 2;
        notice.parent = added->getParentObj();
        notice.isToBeMirrored = added->syncCoreSettingsTreeRequired();
    } else if (const auto* const removed =
                   dynamic_cast<const settings::core::SettingsRemoveNodeEvent*>(base)) {
        notice.kind = 3;
        notice.parent = removed->getParentObj();
    } else if (dynamic_cast<const settings::core::UpdatePrefdirEvent*>(base) != nullptr) {
        notice.kind = 4;
    }
    return notice;
}

thread_local int deliveries = 0;        // that this thread is inside of
std::atomic<jlong> deliveryOfWriter{0}; // the number of the one it is in, the outermost; 0 for none
std::atomic<bool> isWriterEnded{false};

struct Delivery {
    Delivery() {
        if (deliveries++ == 0 && isWriter)
            deliveryOfWriter = ++count;
    }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;
    ~Delivery() {
        if (--deliveries == 0 && isWriter)
            deliveryOfWriter = 0;
    }

  private:
    static inline std::atomic<jlong> count{0};
    const bool isWriter = isWriterThread();
};

/// Null for a value without a form in Java, as for none; `hasJavaForm` tells them apart.
jobject javaOldValue(JNIEnv& env, const Array& value, bool& hasJavaForm) {
    try {
        return javaValue(env, value, !value.isVoid() && settingscore::boostany::isVectorShape(value));
    } catch (const NoJavaForm&) {
        hasJavaForm = false;
        return nullptr;
    }
}

/// Calls the listener in Java, which contains what it throws. What is left over (no memory for the event) is
/// thrown to the event manager, which logs it.
void deliver(const GlobalRef& listener, const varnek::event::Event& event) {
    const Notice notice = noticeOf(event);
    if (notice.kind == 0)
        return;
    JNIEnv& env = environment();
    const LocalFrame frame(env);
    const Delivery here;
    bool hasJavaForm = true;
    jobject const oldValue = javaOldValue(env, notice.oldValue, hasJavaForm);
    jobject const node = javaSettings(env, notice.node);
    jobject const parent = javaSettings(env, notice.parent);
    env.CallStaticVoidMethod(classes().upcalls, classes().deliver, listener.get(), notice.kind, node, parent,
                             oldValue, jboolean(notice.kind == 1 ? hasJavaForm : notice.isToBeMirrored));
    check(env);
}

void deliverContained(const GlobalRef& listener, const varnek::event::Event& event) {
    try {
        deliver(listener, event);
    } catch (const PendingException&) {
        JNIEnv& env = environment();
        env.DeleteLocalRef(takeException(env));
        throw std::runtime_error("a Java listener could not be called");
    }
}

jlong JNICALL listen(JNIEnv* env, jclass, jobject node, jobject listener) {
    return guarded(*env, [&] {
        std::vector<std::u16string> types{u"settings::core::SettingsEvent"};
        if (node != nullptr)
            types = handleOf(*env, node)->getGlobalListenerEventTypes();
        auto target = std::make_shared<const GlobalRef>(*env, listener);
        auto connection = std::make_unique<Connection>();
        *connection = varnek::event::EventManager::instance().subscribe(
            std::move(types), [target](const EventHandle& event) { deliverContained(*target, *event); });
        return reinterpret_cast<jlong>(connection.release());
    });
}

void JNICALL stopListening(JNIEnv* env, jclass, jobject subscription, jboolean wait) {
    guarded(*env, [&] {
        const auto& connection = *reinterpret_cast<const Connection*>(
            env->GetLongField(subscription, classes().subscriptionConnection));
        if (wait == JNI_TRUE)
            connection.disconnectAndWait();
        else
            connection.disconnect();
    });
}

void JNICALL freeSubscription(JNIEnv* env, jclass, jlong connection) {
    guarded(*env, [&] { delete reinterpret_cast<Connection*>(connection); });
}

void requireNoListener() {
    if (deliveries > 0)
        throw IllegalState("a listener cannot begin or end a watch, which it may be called by");
}

jlong JNICALL watch(JNIEnv* env, jclass) {
    return guarded(*env, [] {
        requireNoListener();
        return reinterpret_cast<jlong>(new settings::core::PersonalFileWatch());
    });
}

void JNICALL unwatch(JNIEnv* env, jclass, jlong address) {
    guarded(*env, [&] {
        requireNoListener();
        delete reinterpret_cast<settings::core::PersonalFileWatch*>(address);
    });
}

void JNICALL waitForSaves(JNIEnv* env, jclass) {
    guarded(*env, [] { settings::core::waitForSettingsSaves(); });
}

/// While the machine still lets threads leave it: the one that writes the files may have called listeners.
void JNICALL endWriter(JNIEnv* env, jclass) {
    guarded(*env, [] { settings::core::endSettingsWriter(); });
    isWriterEnded = true;
}

jlong JNICALL listenerOfWriter(JNIEnv*, jclass) {
    return deliveryOfWriter;
}

/// Functions for the exit run in reverse order: before the one of the library, which would wait for the
/// writer.
void JNICALL abandonWriter(JNIEnv*, jclass) {
    ::on_exit(
        [](int status, void*) {
            if (isWriterEnded)
                return;
            std::fflush(stdout); // not all: another thread may wait for input with the lock of its stream
            ::_exit(status);
        },
        nullptr);
}

} // namespace

std::span<const JNINativeMethod> eventMethods() {
    static const JNINativeMethod methods[] = {
        nativeMethod("listen", "(Lvksettings/Settings;Lvksettings/Listener;)J", listen),
        nativeMethod("stopListening", "(Lvksettings/Subscription;Z)V", stopListening),
        nativeMethod("freeSubscription", "(J)V", freeSubscription),
        nativeMethod("watch", "()J", watch),
        nativeMethod("unwatch", "(J)V", unwatch),
        nativeMethod("waitForSaves", "()V", waitForSaves),
        nativeMethod("endWriter", "()V", endWriter),
        nativeMethod("listenerOfWriter", "()J", listenerOfWriter),
        nativeMethod("abandonWriter", "()V", abandonWriter),
    };
    return methods;
}

} // namespace vksettings::java
