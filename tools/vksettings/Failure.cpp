#include "Failure.hpp"

#include "Language.hpp"
#include "Printable.hpp"
#include "ReadOnlyLevel.hpp"
#include "Remote.hpp"
#include "SaveOutcome.hpp"

#include "opc/PackageError.hpp"
#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/factoryfile/InvalidDefinition.hpp"
#include "varnek/files/FileError.hpp"
#include "varnek/files/PathText.hpp"

#include <filesystem>

namespace vksettings {

namespace {

namespace ex = settings::core::exception;

std::string utf8(const std::u16string& text) {
    return varnek::files::messageUtf8(text);
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

/// Names the file once, whatever the cause says of it.
std::string aboutFile(const std::u16string& file, std::string cause) {
    const std::string name = utf8(file);
    const std::string start = quoted(name) + ": ";
    if (cause.starts_with(start) && cause.find(name, start.size()) != std::string::npos)
        cause.erase(0, start.size());
    return cause.find(name) == std::string::npos ? name + ": " + cause : cause;
}

std::string withoutPermission(const std::u16string& file) {
    return utf8(file) + " is write-protected";
}

std::string nameOf(const ex::ObjectHandle& object) {
    return object == nullptr ? "" : object->getFullName();
}

std::string below(const ex::ObjectHandle& group) {
    const std::string name = nameOf(group);
    return name.empty() ? "at the top" : "below " + quoted(name);
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all;
}

/// Tries one class; on a match the sentence it makes of it ends the search.
class Sentences {
  public:
    explicit Sentences(const std::exception& failure) : failure_(failure) {}

    template <class Failure, class Make>
    Sentences& on(ExitCode code, Make make) {
        if (result_.message.empty())
            if (const auto* found = dynamic_cast<const Failure*>(&failure_))
                result_ = {make(*found), code};
        return *this;
    }
    template <class Failure>
    Sentences& on(ExitCode code) {
        return on<Failure>(code, [](const Failure& failure) { return std::string(failure.what()); });
    }
    Explained result() const { return result_; }

  private:
    const std::exception& failure_;
    Explained result_;
};

void describeTreeFailures(Sentences& sentences) {
    sentences
        .on<ex::InvalidNodePath>(
            refused,
            [](const auto& f) { return "there is no group or setting " + quoted(f.getInvalidName()); })
        .on<ex::NoSuchKey>(refused,
                           [](const auto& f) {
                               return "there is no setting " + quoted(f.getInputName()) + " " +
                                      below(f.getObjectInvovled());
                           })
        .on<ex::NotAKeyName>(refused,
                             [](const auto& f) {
                                 return quoted(f.getInputName()) + " " + below(f.getObjectInvovled()) +
                                        " is a group, not a setting";
                             })
        .on<ex::UnSupportedLevel>(refused,
                                  [](const auto& f) {
                                      return "there is no level " + quoted(f.getInputLevel()) +
                                             "; levels are: " + joined(f.getSupportedLevelList());
                                  })
        .on<ex::CantModifyValuesOnReadOnlyLevel>(refused,
                                                 [](const auto& f) {
                                                     return "the level " + quoted(f.getLevelToModify()) +
                                                            " cannot be changed: " +
                                                            whyReadOnly(f.getLevelToModify());
                                                 })
        .on<ex::NoFileWritePermission>(
            refused,
            [](const auto& f) {
                const auto paths = f.getPaths();
                return "the level " + quoted(f.getLevelName()) + " cannot be changed: " +
                       (paths.size() == 1 ? withoutPermission(paths.front()) : whyReadOnly(f.getLevelName()));
            })
        .on<ex::ErrorSaveSettingsDueToFileIOError>(
            refused, [](const auto& f) { return withoutPermission(f.getFileName()); })
        .on<ex::CannotChangeValueForReadOnlySetting>(
            refused, [](const auto& f) { return quoted(nameOf(f.getCausingObject())) + " is read-only"; })
        .on<ex::ValueNotDefinedForGivenLevel>(refused,
                                              [](const auto& f) {
                                                  return quoted(nameOf(f.getObjectInvovled())) +
                                                         " has no value on level " + quoted(f.getLevel());
                                              })
        .on<ex::ErrorMergingNodesWithDiffAttr>(
            refused,
            [](const auto& f) {
                return quoted(nameOf(f.getDesObject())) +
                       " is a group on one side and a setting on the other";
            })
        .on<ex::ErrorExportMultipleNodesBelongsToDiffProducts>(refused,
                                                               [](const auto& f) {
                                                                   return "one file holds one product, not " +
                                                                          quoted(utf8(f.getProduct1Name())) +
                                                                          " and " +
                                                                          quoted(utf8(f.getProduct2Name()));
                                                               })
        .on<ex::NoSuchNode>(refused,
                            [](const auto& f) {
                                return "there is no group " + quoted(f.getInputName()) + " " +
                                       below(f.getObjectInvovled());
                            })
        .on<ex::ProductNodeAlreadyExisted>(refused, [](const auto& f) {
            return "there is a product " + quoted(utf8(f.getExistingName())) + " already; " +
                   quoted(utf8(f.getInputName())) + " may not differ from it by case only";
        });
}

void describeValueFailures(Sentences& sentences) {
    sentences
        .on<ex::ValueIsNotInRange>(refused,
                                   [](const auto& f) {
                                       return quoted(nameOf(f.getCausingObject())) + ": " +
                                              utf8(f.getValueToSetStr()) + " is not in the range from " +
                                              utf8(f.getMinValueStr()) + " to " + utf8(f.getMaxValueStr());
                                   })
        .on<ex::ValueIsNotOneOfTheChoicesAndNotInRange>(refused,
                                                        [](const auto& f) {
                                                            return quoted(nameOf(f.getCausingObject())) +
                                                                   ": " + utf8(f.getValueToSetStr()) +
                                                                   " is none of " + utf8(f.getChoicesStr());
                                                        })
        .on<ex::UnsupportedType>(refused,
                                 [](const auto& f) {
                                     return quoted(nameOf(f.getCausingObject())) +
                                            " cannot hold a value of type " + f.getTypeName();
                                 })
        .on<ex::ValidationException>(
            refused, [](const auto& f) { return quoted(nameOf(f.getCausingObject())) + ": " + f.what(); })
        .on<std::invalid_argument>(refused);
}

void describeFileFailures(Sentences& sentences) {
    sentences.on<NotSaved>(fileOrSystem)
        .on<NoFrontEnd>(fileOrSystem)
        .on<ex::FileDoesNotExist>(
            fileOrSystem, [](const auto& f) { return utf8(f.getFilePath()) + ": there is no such file"; })
        .on<ex::FileCannotBeOpened>(fileOrSystem,
                                    [](const auto& f) {
                                        return aboutFile(f.getFilePath(), f.getCause().empty()
                                                                              ? "cannot be opened"
                                                                              : utf8(f.getCause()));
                                    })
        .on<ex::PackageCannotBeOpened>(
            fileOrSystem,
            [](const auto& f) {
                return aboutFile(f.getFilePath(), f.getCause().empty() ? f.what() : utf8(f.getCause()));
            })
        .on<ex::ErrorWriteToTempSettingsFile>(fileOrSystem,
                                              [](const auto& f) {
                                                  return utf8(f.getTempFilePath()) + ": " + f.what() + " " +
                                                         utf8(f.getDetail());
                                              })
        .on<ex::ErrorReadingSettingsData>(fileOrSystem, [](const auto& f) { return utf8(f.getDetail()); })
        .on<ex::SettingsFileNotWritten>(
            fileOrSystem, [](const auto& f) { return aboutFile(f.getFilePath(), utf8(f.getCause())); })
        .on<ex::RemoteCallFailed>(fileOrSystem)
        .on<UnusableProcesses>(fileOrSystem)
        .on<settings::core::MalformedLocationFile>(fileOrSystem)
        .on<opc::PackageError>(fileOrSystem)
        .on<varnek::files::FileError>(fileOrSystem)
        .on<std::filesystem::filesystem_error>(fileOrSystem)
        .on<std::system_error>(fileOrSystem);
}

} // namespace

Explained explainFailure(const std::exception& failure) {
    if (dynamic_cast<const WrongUsage*>(&failure) != nullptr)
        return {printable(failure.what()), usage};
    if (const auto* definition = dynamic_cast<const varnek::settings::InvalidDefinition*>(&failure)) {
        std::string lines;
        for (const std::string& line : definition->getMessages())
            lines += (lines.empty() ? "" : "\n") + printable(line);
        return {lines, refused};
    }
    Sentences sentences(failure);
    describeTreeFailures(sentences);
    describeValueFailures(sentences);
    describeFileFailures(sentences);
    Explained explained = sentences.result();
    if (explained.message.empty())
        explained = {failure.what(), refused};
    explained.message = printable(explained.message);
    return explained;
}

} // namespace vksettings
