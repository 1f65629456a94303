/// Handles for checks that only pass them on: distinct, and never looked into.
#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

namespace settings::core {
class Settings;
}

namespace settings::test {

inline boost::shared_ptr<core::Settings> opaqueHandle() {
    const auto owner = boost::make_shared<int>();
    return {owner, reinterpret_cast<core::Settings*>(owner.get())};
}

struct ValidationHandles {
    const boost::shared_ptr<const core::Settings> setting = opaqueHandle();
    const boost::shared_ptr<core::Settings> parent = opaqueHandle();
};

} // namespace settings::test
