/// Serves the calls of remote nodes against one top-level group of this process.
///
/// Called on worker threads, several calls at once; thread-safe as the nodes are. Failures of the catalogue
/// are told with their types and fields (FailureCoding.hpp). A path that leads nowhere raises
/// ParentSettingsGroupNotFound.
#pragma once

#include "settingscore/spf/FailureCoding.hpp"
#include "settingscore/spf/RemoteMethods.hpp"
#include "spf/Invokable.hpp"

#include <functional>
#include <optional>
#include <string>

namespace settings::spf {

/// How the description calls the service.
inline constexpr char serviceDescription[] = "A service provider for a top-level settings node";

class SpfSettingsServiceProvider final : public varnek::spf::ServiceProvider, private HandleCoding {
  public:
    /// Finds the group, which may be another node by now; empty when it is gone. Called for each call.
    using FindGroup = std::function<core::detail::NodePtr()>;

    SpfSettingsServiceProvider(std::string name, FindGroup findGroup);

    Value invoke(const std::string& method, const Value::List& arguments) override;

    /// Of a node of the group; nothing for any other.
    std::optional<Path> pathOf(const core::Settings& node) const;

  private:
    using NodePtr = core::detail::NodePtr;
    using Arguments = Value::List; // those behind the path
    using Operation = Value (SpfSettingsServiceProvider::*)(const NodePtr& node, const Arguments& arguments);

    static Operation operationOf(const std::string& method);
    NodePtr nodeAt(const Path& path) const;
    Value toValue(const core::exception::ObjectHandle& handle) const override;
    boost::shared_ptr<core::Settings> toHandle(const Value& value) const override;

    Value callGetChild(const NodePtr& node, const Arguments& arguments);
    Value getChildrenNames(const NodePtr& node, const Arguments& arguments);
    Value getChildrenNamesConst(const NodePtr& node, const Arguments& arguments);
    Value getParentFullName(const NodePtr& node, const Arguments& arguments);
    Value getSettingMDArray(const NodePtr& node, const Arguments& arguments);
    Value unset(const NodePtr& node, const Arguments& arguments);
    Value removeNode(const NodePtr& node, const Arguments& arguments);
    Value setSyncWithVCOSTree(const NodePtr& node, const Arguments& arguments);
    Value needsSyncWithVCOSTree(const NodePtr& node, const Arguments& arguments);
    Value loadUserSettingsOncePerPrefdir(const NodePtr& node, const Arguments& arguments);
    Value isRoot(const NodePtr& node, const Arguments& arguments);
    Value isReadOnly(const NodePtr& node, const Arguments& arguments);
    Value isVisible(const NodePtr& node, const Arguments& arguments);
    Value isLeafNode(const NodePtr& node, const Arguments& arguments);

    const std::string name_;
    const FindGroup findGroup_;
};

} // namespace settings::spf
