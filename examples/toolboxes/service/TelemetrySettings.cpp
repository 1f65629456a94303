// The settings of a toolbox "telemetry", as a bundle that fills them in.

#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "settingscore/exception/SettingsException.hpp"
#include "settingscore/factoryfile/FactorySettings.hpp"

#include <boost/shared_ptr.hpp>

#include <cmath>
#include <memory>
#include <string>

namespace {

using settings::core::CPPValidator;
using settings::core::CRunTimeDefault;
using settings::core::MustBeScalar;
using settings::core::NumericMetaData;
using settings::core::SettingsException;
using varnek::data::Array;
using varnek::data::TypeCode;
using varnek::settings::FactoryGroup;
using Properties = FactoryGroup::Properties;

/// A rule that no declarative validator can say: a number of samples has to be a power of two.
void mustBePowerOfTwo(const boost::shared_ptr<const settings::core::Settings>&, const std::string& name,
                      const Array& value) {
    int exponent = 0;
    const bool isPower = value.type() == TypeCode::float64 && value.elements<double>().size() == 1 &&
                         std::frexp(value.elements<double>()[0], &exponent) == 0.5 && exponent > 0;
    if (!isPower)
        throw SettingsException("telemetry:mustBePowerOfTwo", name + " has to be a power of two.", "power");
}

Array dataFolder() {
    return Array::text(u"/var/tmp/telemetry");
}

class TelemetrySettings : public varnek::settings::FactorySettings {
  public:
    std::string getToolboxGroupName() const override { return "telemetry"; }

    void createFactorySettings(FactoryGroup& telemetry) const override {
        FactoryGroup buffer = telemetry.addGroup("buffer");
        const CPPValidator power(&mustBePowerOfTwo, "telemetry", "mustBePowerOfTwo");
        buffer.addSetting("samples",
                          Properties(true, false, Array::scalar(1024.0), power, {}, false, false, {}));

        NumericMetaData<MustBeScalar> seconds;
        seconds.setMinValue(1);
        seconds.setMaxValue(3600);
        telemetry.addSetting("interval",
                             Properties(true, false, Array::scalar(60.0), {}, {}, false, false, {seconds}));

        const CRunTimeDefault folder("telemetry", "dataFolder", &dataFolder);
        telemetry.addSetting("folder", Properties(true, false, {}, {}, folder, false, false, {}));
    }
};

class Activator : public cppmicroservices::BundleActivator {
  public:
    void Start(cppmicroservices::BundleContext context) override {
        static_cast<void>(context.RegisterService<varnek::settings::FactorySettings>(
            std::make_shared<TelemetrySettings>()));
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
