#include "demo/Cameras.h"

namespace demo {

QList<CameraModel> cameraModels()
{
    return {
        {QStringLiteral("Falcon-12"), QStringLiteral("2.1.0"), QStringLiteral("2.2.0")},
        {QStringLiteral("Heron-40"), QStringLiteral("5.0.3"), QStringLiteral("5.1.0")},
        {QStringLiteral("Osprey-7"), QStringLiteral("1.8.2"), QStringLiteral("1.9.0")},
    };
}

QList<Camera> siteCameras(bool isCurrent)
{
    const struct
    {
        QString name;
        int model;
        QString address;
    } places[] = {
        {QStringLiteral("Main gate"), 0, QStringLiteral("10.20.0.11")},
        {QStringLiteral("Car park, north"), 0, QStringLiteral("10.20.0.12")},
        {QStringLiteral("Warehouse"), 1, QStringLiteral("10.20.0.21")},
        {QStringLiteral("Loading bay"), 2, QStringLiteral("10.20.0.31")},
        {QStringLiteral("Reception"), 2, QStringLiteral("10.20.0.32")},
    };
    const QList<CameraModel> models = cameraModels();
    QList<Camera> cameras;
    for (const auto& place : places) {
        const CameraModel& model = models.at(place.model);
        cameras.append({place.name, model.name,
                        isCurrent ? model.newestFirmware : model.installedFirmware, place.address});
    }
    return cameras;
}

} // namespace demo
