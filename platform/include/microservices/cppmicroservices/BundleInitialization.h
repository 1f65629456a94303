/// What every bundle that calls GetBundleContext needs in one of its sources.
#pragma once

#include "cppmicroservices/GetBundleContext.h"

/// Outside of all namespaces. Never destroyed: the bundle's code may run during static destruction.
#define CPPMICROSERVICES_INITIALIZE_BUNDLE                                                                   \
    extern "C" VARNEK_EXPORT ::cppmicroservices::detail::ContextHolder* US_PLATFORM_JOINED(                  \
        varnek_services_context_, US_BUNDLE_NAME)() {                                                        \
        static auto* const holder = new ::cppmicroservices::detail::ContextHolder;                           \
        return holder;                                                                                       \
    }
