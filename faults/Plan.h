#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace zk::faults {

/** A fault in one answer of the server. */
struct Fault
{
    enum Kind {
        eNone,
        /** Silence for @ref number milliseconds, then the answer. */
        eDelay,
        /** In pieces of @ref number bytes. */
        eDrip,
        /** Cut off after @ref number millionths of the answer's bytes. */
        eCutAndClosed,
        eCutAndReset,
        eCutAndSilent,
        /** The Content-Length is wrong by @ref number bytes. */
        eWrongLength,
        /** No Content-Length, and @ref number millionths of the body. */
        eNoLength,
        /** The HTTP status @ref number. */
        eStatus,
        /** @ref number hops, followed by the answer. */
        eRedirects,
        /** A redirect to itself (or back and forth), @ref number times. */
        eLoop,
        /** A redirect to another kind of address, the @ref number th of a list. */
        eElsewhere,
        /** A page of HTML with status 200. */
        eHtml,
        eEmpty,
        /** Not HTTP. */
        eNoHttp,
        /** Compressed on its way, whole. */
        eCompressed,
        /** The first @ref number millionths of the compressed body, announced as all there is. */
        eCompressedAndCut,
    };

    Kind kind = eNone;
    int number = 0;
    /** The status of redirects. */
    int status = 302;

    /** The complete answer arrives eventually. */
    [[nodiscard]] bool isHarmless() const;
    /** A later try may succeed, and a client that tries again does so. */
    [[nodiscard]] bool isTemporary() const;
    /** The answer may never arrive. */
    [[nodiscard]] bool isSilent() const { return kind == eCutAndSilent || kind == eElsewhere; }
    [[nodiscard]] QString text() const;
};

/** An action of the user or the host during a flow. */
struct Act
{
    enum Kind {
        eNothing,
        /** Presses whichever Cancel button is visible. */
        eCancel,
        eCloseParent,
        eDeleteClient,
        eCheckAgain,
        eInstallAgain,
        eAbortUpdate,
        eRemoveTemporaryFolder,
        eCloseList,
        eCloseProgress,
        /** Runs an event loop of its own for a while. */
        eLinger,
    };
    /** The start of the count of @ref events. */
    enum Stage { eCheck, eInstall, eDownload, eReceived, eWhole };

    Kind kind = eNothing;
    Stage stage = eCheck;
    /** It happens after this number of events of the application. */
    int events = 0;
    /** In a slot that the client calls after that, not from the event loop. */
    bool isInSlot = false;
};

/** One flow from the check to the installer, with all its faults. */
struct Plan
{
    enum Content { eGenuine, eChangedMeanwhile, eClimbingArchive, eDamagedArchive };
    enum Forgery { eNoForgery, eOtherKey, eOtherBytes, eOtherName, eOtherRelease, eDamaged };
    enum Surroundings { eFine, eFullDisk, eFileLimit, eNoTemporaryFolder, eReadOnlySettings };

    quint32 seed = 0;
    int number = 0;
    bool isArchive = false;
    bool hasKeys = false;
    bool restartsNow = false;
    bool isRejected = false;
    int size = 0;
    Fault document;
    /** Of the package: what happens to the first try. */
    Fault package;
    Fault signature;
    /** How often the client tries again; 0: it does not. */
    int retries = 0;
    /** What happens to the tries after the first one; the rest are in order. */
    QList<Fault> tries;
    /** The client fetches only what has changed: half of the archive is installed. */
    bool isDifferential = false;
    /** What happens to the requests that only such a client sends; the rest are in order. */
    QList<Fault> parts;
    /** Millionths of the package that a host has left which died; 0: nothing. */
    int leftBehind = 0;
    Content content = eGenuine;
    Forgery forgery = eNoForgery;
    Surroundings surroundings = eFine;
    /** Capacity of the disk, or of one file, in bytes. */
    int room = 0;
    Act act;
    /** How long the user waits for a silent server. */
    int patienceMs = 0;

    /** Whether the package arrives in the end. */
    [[nodiscard]] bool isPackageHarmless() const;
    /** Whether what only a differential client asks for arrives, too. */
    [[nodiscard]] bool arePartsHarmless() const;
    /** Whether nothing in it prevents the installation. */
    [[nodiscard]] bool mustSucceed() const;
    /** Its faults as text. */
    [[nodiscard]] QString text() const;
};

/** Flow @p number of the campaign @p seed; reproducible on all platforms. */
Plan drawPlan(quint32 seed, int number);

} // namespace zk::faults
