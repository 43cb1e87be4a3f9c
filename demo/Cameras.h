#pragma once

#include <QList>
#include <QString>

namespace demo {

/** A camera that the host administers. */
struct Camera
{
    QString name;
    QString model;
    QString firmware;
    QString address;
};

/** A camera model with its firmware versions. No model's name begins with another's. */
struct CameraModel
{
    QString name;
    QString installedFirmware;
    QString newestFirmware;
};

QList<CameraModel> cameraModels();

/** The cameras of a small site; if @p isCurrent, all have the newest firmware. */
QList<Camera> siteCameras(bool isCurrent);

} // namespace demo
