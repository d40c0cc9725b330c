// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

typedef struct _UMockdevTestbed UMockdevTestbed;
typedef struct _UMockdevIoctlBase UMockdevIoctlBase;
typedef struct _UMockdevIoctlClient UMockdevIoctlClient;
typedef struct _UMockdevIoctlData UMockdevIoctlData;
typedef struct _GMainContext GMainContext;

namespace virtual_desk {

/// \brief Releases one reference to a GLib object; for std::unique_ptr.
struct GObjectUnref
{
    void operator()(void* object) const;
};

using IoctlData = std::unique_ptr<UMockdevIoctlData, GObjectUnref>;
/// A shared reference to one open file of a client, so that its address stays unique as long as it
/// is compared.
using IoctlClient = std::shared_ptr<UMockdevIoctlClient>;

IoctlClient shareClient(UMockdevIoctlClient* client);

/// The memory of `length` bytes that the pointer at `offset` of `data` points to in the client;
/// null when the client's memory cannot be read (it died) or `length` is 0.
IoctlData resolvePointer(UMockdevIoctlData* data, std::size_t offset, std::size_t length);

/// \brief The /dev and /sys of one virtual desk, and the owner of every emulated device node on it.
///
/// The process that creates a virtual kernel runs under the preload library of umockdev (see
/// `restartUnderPreload` and the DEVICES option of desk_add_test). Creating one sets UMOCKDEV_DIR
/// for this process and for every program that it starts from then on: they all use the virtual
/// desk without changes. One virtual kernel per process at a time. It must outlive every program
/// that uses it.
class VirtualKernel
{
public:
    /// Answers one ioctl of a client. Runs on the virtual kernel's own thread. Returns false when
    /// the request is not understood (the client then sees ENOTTY). When it returns true,
    /// `completeIoctl` must be called later.
    using IoctlHandler = std::function<bool(const IoctlClient& client)>;

    /// \param hostController when given, this is no virtual kernel at all: USB devices are plugged
    /// in at that controller of the running kernel (see VhciPort), nothing is preloaded, and the
    /// functions from `rootDirectory` to `handle` must not be called
    explicit VirtualKernel(const QString& hostController = {});
    ~VirtualKernel();
    VirtualKernel(const VirtualKernel&) = delete;
    VirtualKernel& operator=(const VirtualKernel&) = delete;

    /// The host controller of the running kernel; empty where everything is emulated.
    const QString& hostController() const { return m_hostController; }

    /// The folder that stands for the root of the file system; its "dev" holds the nodes.
    QString rootDirectory() const;

    /// Adds devices, given in umockdev's text format (lines P:, N:, E:, A:, H:, S:), and announces
    /// them to udev listeners. Any thread. Returns false with a warning when the text is
    /// not accepted.
    bool addDevices(const QByteArray& description);

    /// Announces the removal of the device `sysPath` ("/sys/devices/…"), removes it and deletes
    /// `node` ("/dev/…"; may be empty). Any thread.
    void removeDevice(const QByteArray& sysPath, const QByteArray& node);

    /// Sends the requests that clients make on `node` ("/dev/…") to `handler`. Call it before the
    /// device is added. The node stays served until the virtual kernel ends, because a client whose
    /// node loses its server is aborted by the preload library. Any thread.
    /// \param onRead answers reads of the node in the same way; the request's argument is the
    /// read's buffer, and the result the number of bytes
    void attachIoctl(const QByteArray& node, IoctlHandler handler, IoctlHandler onRead = nullptr);

    /// Runs `work` on the virtual kernel's thread, after `milliseconds`. Any thread. Before the
    /// first client has opened a node that thread is not known, and `work` is dropped: no client
    /// can be waiting for it.
    void runLater(int milliseconds, std::function<void()> work);

    UMockdevTestbed* handle() const { return m_testbed.get(); }

    /// True when this process runs under the preload library.
    static bool preloaded();

    /// Restarts the program under the preload library (behind a sanitizer's runtime, where there is
    /// one) unless it already runs so. Call it first in `main`.
    static void restartUnderPreload(char** arguments);

    /// The environment for programs that must not see the desk: X servers, window managers, shell
    /// tools.
    static QProcessEnvironment outsideEnvironment();

private:
    struct Node;

    QString m_hostController;
    std::unique_ptr<UMockdevTestbed, GObjectUnref> m_testbed;
    std::vector<std::unique_ptr<Node>> m_nodes;
    std::shared_ptr<struct KernelThread> m_thread;
    std::mutex m_mutex;
};

/// Ends a request with `result`, or with -1 and `error` when `error` is not 0. Does nothing when
/// the client has closed the file. On the virtual kernel's thread only.
void completeIoctl(const IoctlClient& client, long result, int error = 0);

/// True while the client has the file open. A close is noticed some milliseconds late.
bool isConnected(const IoctlClient& client);

/// False when the program of a held request has died, which its open file does not show: then the
/// memory behind the request's `argument` cannot be read. Ends the connection of such a client.
bool isProgramAlive(const IoctlClient& client, UMockdevIoctlData* argument);

} // namespace virtual_desk
