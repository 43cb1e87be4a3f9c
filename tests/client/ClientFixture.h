#pragma once

#include "RecordingSettings.h"
#include "ScriptedServer.h"

#include "client/SoftwareUpdateClient.h"

#include <QNetworkProxy>
#include <QTest>
#include <QWidget>

#include <memory>

namespace zk::test {

/** One package of an update document. */
inline QByteArray packageElement(const QByteArray& release, const QByteArray& url,
                                 const QByteArray& more = {})
{
    return "<package release='" + release + "' " + more + "><file url='" + url + "'/></package>";
}

/** An update document of "Viewer" packages. */
inline QByteArray document(const QByteArray& packages)
{
    return "<softwareList><package-set type=\"Application\" name=\"Viewer\" status=\"STABLE\" "
           "platform=\"Win64\">" +
           packages + "</package-set></softwareList>";
}

/** The client of a host called "Viewer", version 4.1, with an update server of its own. */
struct ClientFixture
{
    using Client = SoftwareUpdateClient;

    RecordingSettings settings;
    ScriptedServer server;
    std::unique_ptr<QWidget> parent = std::make_unique<QWidget>();
    SoftwareUpdateClient* client = nullptr;
    /** "state 0>1", "message x", "last check": what the client said, in order. */
    QStringList events;

    ClientFixture()
    {
        Client::init(u"Viewer"_s, VersionNumber(L"4.1"), server.url("/doc.xml").toString(),
                     &settings);
        client = Client::instance();
        client->setParent(parent.get());
        client->setNetworkProxy(QNetworkProxy(QNetworkProxy::NoProxy));
        QObject::connect(client, &Client::stateChanged, client, [this](int from, int to) {
            // The signal comes before the value.
            const auto late = client->state() == from ? QString() : u" too late"_s;
            events << u"state %1>%2%3"_s.arg(from).arg(to).arg(late);
        });
        QObject::connect(client, &Client::messageChanged, client,
                         [this](const QString& text) { events << u"message "_s + text; });
        QObject::connect(client, &Client::lastCheckTextChanged, client, [this](const QString& at) {
            events << (at.isEmpty() ? u"no last check"_s : u"last check"_s);
        });
    }
    ~ClientFixture()
    {
        SoftwareUpdateClient::deleteInstance();
        waitForRetiredManagers();
    }

    /** The client's timer with this interval, null when there is none. */
    QTimer* timer(int interval) const
    {
        const QList<QTimer*> timers = client->findChildren<QTimer*>();
        for (QTimer* timer : timers) {
            if (timer->interval() == interval) {
                return timer;
            }
        }
        return nullptr;
    }

    template <typename Dialog>
    Dialog* dialog() const
    {
        return parent ? parent->findChild<Dialog*>() : nullptr;
    }

    void check() const { client->performUpdateCheck(server.url("/doc.xml")); }
    /** Checks with a document of these packages, to the end. */
    void checkFor(const QByteArray& packages)
    {
        server.answer("/doc.xml", http(200, document(packages)));
        check();
        QTRY_VERIFY(!isChecking());
    }
    bool isChecking() const { return client->state() == SoftwareUpdate::eChecking; }
};

} // namespace zk::test
