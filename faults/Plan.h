#pragma once

#include <QByteArray>
#include <QString>

namespace zk::faults {

/** What is wrong with one answer of the server. */
struct Fault
{
    enum Kind {
        eNone,
        /** Nothing for @ref number milliseconds, then the answer. */
        eDelay,
        /** In drops of @ref number bytes. */
        eDrip,
        /** The first @ref number millionths of the answer's bytes, then the end. */
        eCutAndClosed,
        eCutAndReset,
        eCutAndSilent,
        /** The Content-Length is off by @ref number bytes. */
        eWrongLength,
        /** No Content-Length, and @ref number millionths of the body. */
        eNoLength,
        /** The HTTP status @ref number. */
        eStatus,
        /** @ref number hops, the answer behind the last one. */
        eRedirects,
        /** To itself (or to and fro), @ref number times. */
        eLoop,
        /** A redirect to another kind of place, the @ref number th of a list. */
        eElsewhere,
        /** A page of HTML with status 200. */
        eHtml,
        eEmpty,
        /** No HTTP at all. */
        eNoHttp,
    };

    Kind kind = eNone;
    int number = 0;
    /** The status of redirects. */
    int status = 302;

    /** The answer comes in the end, and whole. */
    [[nodiscard]] bool isHarmless() const;
    /** Whoever waits for this answer may wait for ever. */
    [[nodiscard]] bool isSilent() const { return kind == eCutAndSilent || kind == eElsewhere; }
    [[nodiscard]] QString text() const;
};

/** Something that a person or the host does in the middle of a flow. */
struct Act
{
    enum Kind {
        eNothing,
        /** Presses the Cancel button there is, whichever. */
        eCancel,
        eCloseParent,
        eDeleteClient,
        eCheckAgain,
        eInstallAgain,
        eAbortUpdate,
        eRemoveTemporaryFolder,
    };
    /** Since when @ref events are counted. */
    enum Stage { eCheck, eInstall, eDownload, eReceived, eWhole };

    Kind kind = eNothing;
    Stage stage = eCheck;
    /** It happens after so many events of the application. */
    int events = 0;
};

/** One flow from the check to the installer, and everything that goes wrong in it. */
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
    Fault package;
    Fault signature;
    Content content = eGenuine;
    Forgery forgery = eNoForgery;
    Surroundings surroundings = eFine;
    /** Bytes that fit on the disk, or into one file. */
    int room = 0;
    Act act;
    /** How long the person at the screen waits for a server that says nothing. */
    int patienceMs = 0;

    /** Nothing in it keeps the package from being installed. */
    [[nodiscard]] bool mustSucceed() const;
    /** Its faults, one after the other. */
    [[nodiscard]] QString text() const;
};

/** Flow @p number of the campaign @p seed: the same one wherever and whenever it is asked for. */
Plan drawPlan(quint32 seed, int number);

} // namespace zk::faults
