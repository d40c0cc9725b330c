// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/kernel/virtual_kernel.h"

#include <QDebug>
#include <QFile>

#include <umockdev-1.0/umockdev.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <link.h>
#include <map>
#include <string>
#include <unistd.h>
#include <utility>

namespace virtual_desk {

// The context of umockdev's worker thread, which timers and requests share; known after a client's
// first request. That thread may still run for a moment after the virtual kernel is destroyed, and
// then finds `closed` set.
struct KernelThread
{
    std::mutex mutex;
    GMainContext* context = nullptr;
    std::map<GSource*, std::function<void()>> works; // protected by `mutex`

    std::mutex calls;    // held while a handler or timer runs on the thread
    bool closed = false; // under `calls`

    ~KernelThread()
    {
        if (context)
            g_main_context_unref(context);
    }

    void close()
    {
        {
            const std::lock_guard<std::mutex> lock(calls);
            closed = true;
        }
        const std::lock_guard<std::mutex> lock(mutex);
        works.clear();
    }

    void learn()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (!context)
            context = g_main_context_ref(g_main_context_get_thread_default());
    }
};

struct VirtualKernel::Node
{
    std::unique_ptr<UMockdevIoctlBase, GObjectUnref> base;
};

namespace {

const char preloadLibrary[] = "libumockdev-preload.so.0";

// The path of a sanitizer's runtime in this process, which must be the first preloaded library.
std::string sanitizerRuntime()
{
    std::string found;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* target) {
            if (std::strstr(info->dlpi_name, "/libasan.so") ||
                std::strstr(info->dlpi_name, "/libtsan.so")) {
                *static_cast<std::string*>(target) = info->dlpi_name;
            }
            return 0;
        },
        &found);
    return found;
}

gboolean onIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer handler)
{
    return (*static_cast<VirtualKernel::IoctlHandler*>(handler))(shareClient(client)) ? TRUE
                                                                                      : FALSE;
}

// Connects the handler, which `base` then owns.
void connectHandler(UMockdevIoctlBase* base, const char* request,
                    VirtualKernel::IoctlHandler handler)
{
    const GClosureNotify release = [](gpointer owned, GClosure*) {
        delete static_cast<VirtualKernel::IoctlHandler*>(owned);
    };
    g_signal_connect_data(base, request, G_CALLBACK(onIoctl),
                          new VirtualKernel::IoctlHandler(std::move(handler)), release,
                          static_cast<GConnectFlags>(0));
}

// Kept to the end of the process, because a late timer still uses it.
std::shared_ptr<KernelThread> makeThread()
{
    static auto* const all = new std::vector<std::shared_ptr<KernelThread>>;
    all->push_back(std::make_shared<KernelThread>());
    return all->back();
}

gboolean runOnce(gpointer data)
{
    KernelThread& thread = *static_cast<KernelThread*>(data);
    const std::lock_guard<std::mutex> call(thread.calls);
    std::function<void()> work;
    {
        const std::lock_guard<std::mutex> lock(thread.mutex);
        const auto found = thread.works.find(g_main_current_source());
        if (found != thread.works.end()) {
            work = std::move(found->second);
            thread.works.erase(found);
        }
    }
    if (work && !thread.closed)
        work();
    return G_SOURCE_REMOVE;
}

} // namespace

void GObjectUnref::operator()(void* object) const
{
    g_object_unref(object);
}

IoctlClient shareClient(UMockdevIoctlClient* client)
{
    return {static_cast<UMockdevIoctlClient*>(g_object_ref(client)), GObjectUnref()};
}

IoctlData resolvePointer(UMockdevIoctlData* data, std::size_t offset, std::size_t length)
{
    return IoctlData(length == 0 ? nullptr
                                 : umockdev_ioctl_data_resolve(data, offset, length, nullptr));
}

VirtualKernel::VirtualKernel(const QString& hostController)
    : m_hostController(hostController)
    , m_testbed(hostController.isEmpty() ? umockdev_testbed_new() : nullptr)
    , m_thread(makeThread())
{
    if (m_testbed && !preloaded())
        qFatal("The virtual desk needs %s in LD_PRELOAD.", preloadLibrary);
}

VirtualKernel::~VirtualKernel()
{
    m_thread->close();
    m_testbed.reset();
}

QString VirtualKernel::rootDirectory() const
{
    gchar* path = umockdev_testbed_get_root_dir(m_testbed.get());
    QString result = QString::fromLocal8Bit(path);
    g_free(path);
    return result;
}

bool VirtualKernel::addDevices(const QByteArray& description)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    GError* error = nullptr;
    if (umockdev_testbed_add_from_string(m_testbed.get(), description.constData(), &error))
        return true;
    qWarning("virtual desk: device not added: %s", error ? error->message : "unknown");
    g_clear_error(&error);
    return false;
}

void VirtualKernel::removeDevice(const QByteArray& sysPath, const QByteArray& node)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    umockdev_testbed_uevent(m_testbed.get(), sysPath.constData(), "remove");
    umockdev_testbed_remove_device(m_testbed.get(), sysPath.constData());
    if (!node.isEmpty())
        QFile::remove(rootDirectory() + QString::fromLocal8Bit(node));
}

void VirtualKernel::attachIoctl(const QByteArray& node, IoctlHandler handler, IoctlHandler onRead)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto learning = [this](IoctlHandler inner) -> IoctlHandler {
        return [thread = m_thread, inner = std::move(inner)](const IoctlClient& client) {
            const std::lock_guard<std::mutex> call(thread->calls);
            thread->learn();
            return !thread->closed && inner(client);
        };
    };
    auto served = std::make_unique<Node>();
    served->base.reset(umockdev_ioctl_base_new());
    connectHandler(served->base.get(), "handle-ioctl", learning(std::move(handler)));
    if (onRead)
        connectHandler(served->base.get(), "handle-read", learning(std::move(onRead)));
    GError* error = nullptr;
    if (!umockdev_testbed_attach_ioctl(m_testbed.get(), node.constData(), served->base.get(),
                                       &error)) {
        qFatal("virtual desk: %s cannot be served: %s", node.constData(), error->message);
    }
    m_nodes.push_back(std::move(served));
}

void VirtualKernel::runLater(int milliseconds, std::function<void()> work)
{
    const std::lock_guard<std::mutex> lock(m_thread->mutex);
    if (!m_thread->context)
        return;
    GSource* source = milliseconds > 0 ? g_timeout_source_new(static_cast<guint>(milliseconds))
                                       : g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, runOnce, m_thread.get(), nullptr);
    m_thread->works[source] = std::move(work);
    g_source_attach(source, m_thread->context);
    g_source_unref(source);
}

bool VirtualKernel::preloaded()
{
    return qgetenv("LD_PRELOAD").contains("libumockdev-preload");
}

void VirtualKernel::restartUnderPreload(char** arguments)
{
    if (preloaded())
        return;
    QByteArray preload = qgetenv("LD_PRELOAD");
    const std::string runtime = sanitizerRuntime();
    for (const QByteArray& library :
         {QByteArray::fromStdString(runtime), QByteArray(preloadLibrary)}) {
        if (!library.isEmpty() && !preload.contains(library))
            preload += (preload.isEmpty() ? "" : " ") + library;
    }
    qputenv("LD_PRELOAD", preload);
    // With the program's real path, so that the process keeps its name.
    std::array<char, PATH_MAX> program{};
    if (readlink("/proc/self/exe", program.data(), program.size() - 1) > 0)
        execv(program.data(), arguments);
    qFatal("virtual desk: the program cannot be restarted: %s", std::strerror(errno));
}

QProcessEnvironment VirtualKernel::outsideEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("LD_PRELOAD"));
    environment.remove(QStringLiteral("UMOCKDEV_DIR"));
    return environment;
}

void completeIoctl(const IoctlClient& client, long result, int error)
{
    if (isConnected(client))
        umockdev_ioctl_client_complete(client.get(), error == 0 ? result : -1, error);
}

bool isConnected(const IoctlClient& client)
{
    return umockdev_ioctl_client_get_connected(client.get()) != FALSE;
}

bool isProgramAlive(const IoctlClient& client, UMockdevIoctlData* argument)
{
    if (argument && umockdev_ioctl_data_reload(argument, nullptr) != FALSE)
        return true;
    umockdev_ioctl_client_abort(client.get());
    return false;
}

} // namespace virtual_desk
