#pragma once

#include <QList>
#include <QString>

namespace demo {

/** A camera that the host looks after. */
struct Camera
{
    QString name;
    QString model;
    QString firmware;
    QString address;
};

/** What the maker publishes for one model. No model's name begins with another's. */
struct CameraModel
{
    QString name;
    QString installedFirmware;
    QString newestFirmware;
};

QList<CameraModel> cameraModels();

/** The cameras of a small site; with @p isCurrent all have the newest firmware. */
QList<Camera> siteCameras(bool isCurrent);

} // namespace demo
