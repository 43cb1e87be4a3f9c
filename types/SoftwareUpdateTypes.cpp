#include "types/SoftwareUpdateTypes.h"
#include "types/SoftwareUpdateWidgetSettings.h"

namespace zk {

namespace {

// Signals and slots spell these types without their namespace, hosts with it; both names must yield
// the same type id, or queued connections and calls by name fail at run time. The qualified name of
// the state is registered when the client is initialised.
bool registerTypes()
{
    using namespace SoftwareUpdate;
    qRegisterMetaType<VersionNumber>("zk::VersionNumber");
    qRegisterMetaType<VersionNumber>("VersionNumber");
    qRegisterMetaType<SoftwareUpdateWidgetSettings>("zk::SoftwareUpdateWidgetSettings");
    qRegisterMetaType<SoftwareUpdateWidgetSettings>("SoftwareUpdateWidgetSettings");
    qRegisterMetaType<SoftwareUpdateSettings>("zk::SoftwareUpdate::SoftwareUpdateSettings");
    qRegisterMetaType<SoftwareUpdateSettings>("SoftwareUpdate::SoftwareUpdateSettings");
    qRegisterMetaType<TCurrentCameraVersions>("zk::SoftwareUpdate::TCurrentCameraVersions");
    qRegisterMetaType<TCurrentCameraVersions>("SoftwareUpdate::TCurrentCameraVersions");
    qRegisterMetaType<SoftUpIndexList>("zk::SoftwareUpdate::SoftUpIndexList");
    qRegisterMetaType<SoftUpIndexList>("SoftwareUpdate::SoftUpIndexList");
    qRegisterMetaType<EState>("SoftwareUpdate::EState");
    return true;
}

[[maybe_unused]] const bool registered = registerTypes();

} // namespace

} // namespace zk
