// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The usbfs side of an emulated device: the requests that libusb makes on /dev/bus/usb/BBB/DDD.

#include "virtual/kernel/usb_connection.h"

#include <umockdev-1.0/umockdev.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

namespace virtual_desk {
namespace {

// poll() always reports the node ready: an empty reap is delayed so that libusb does not busy-loop.
const int emptyReapMilliseconds = 3;
// A close is noticed late: a claim of an interface that another client holds is retried that often,
// at that interval, before it fails as busy.
const int claimAttempts = 5;
const int claimRetryMilliseconds = 5;
const quint32 capabilities = 0x1F;
const int setupSize = 8;

IoctlData resolveArgument(const IoctlClient& client, std::size_t length)
{
    return resolvePointer(umockdev_ioctl_client_get_arg(client.get()), 0, length);
}

template <typename T>
T readAt(const UMockdevIoctlData& data, std::size_t offset)
{
    T value;
    std::memcpy(&value, data.data + offset, sizeof(value));
    return value;
}

void writeAt(UMockdevIoctlData& data, std::size_t offset, const void* bytes, std::size_t length)
{
    QByteArray copy(static_cast<const char*>(bytes), static_cast<int>(length));
    umockdev_ioctl_data_update(&data, offset, reinterpret_cast<guint8*>(copy.data()),
                               static_cast<gint>(length));
}

bool readArgument(const IoctlClient& client, void* target, std::size_t length)
{
    const IoctlData data = resolveArgument(client, length);
    if (!data || static_cast<std::size_t>(data->data_len) < length)
        return false;
    std::memcpy(target, data->data, length);
    return true;
}

UsbEvent interfaceEvent(UsbEvent::Kind kind, int interface, int error)
{
    UsbEvent event;
    event.kind = kind;
    event.interface = interface;
    event.error = error;
    return event;
}

} // namespace

UsbAddress UsbAddress::ofPlug(int plug)
{
    constexpr int lastDevice = 127;
    const int full = (plug - 1) / lastDevice;
    return {full == 0 ? 1 : full + 2, 1 + (plug - 1) % lastDevice}; // the cameras are on bus 2
}

QByteArray UsbAddress::path() const
{
    const QByteArray number = QByteArray::number(bus);
    return "/devices/usb" + number + "/" + number + "-" + QByteArray::number(device);
}

QByteArray UsbAddress::node() const
{
    return "bus/usb/" + QByteArray::number(bus).rightJustified(3, '0') + "/" +
           QByteArray::number(device).rightJustified(3, '0');
}

UsbConnection::UsbConnection(VirtualKernel& kernel, std::shared_ptr<UsbDevice::Shared> shared,
                             UsbAddress address)
    : m_kernel(kernel)
    , m_shared(std::move(shared))
    , m_address(address)
{
    for (const UsbInterface& interface : m_shared->description.interfaces)
        if (!interface.kernelDriver.isEmpty())
            m_drivers[interface.number] = interface.kernelDriver;
}

QString UsbConnection::plug()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_alive = true;
    }
    const QByteArray bus = QByteArray::number(m_address.bus);
    const QByteArray number = QByteArray::number(m_address.device);
    const QByteArray node = m_address.node();
    m_kernel.attachIoctl("/dev/" + node, [self = shared_from_this()](const IoctlClient& client) {
        return self->handle(client);
    });
    const UsbDescription& usb = m_shared->description;
    const QByteArray product = QByteArray::number(usb.product, 16).rightJustified(4, '0');
    const QByteArray vendor = QByteArray::number(usb.vendor, 16).rightJustified(4, '0');
    const bool added = m_kernel.addDevices(
        "P: " + m_address.path() + "\nN: " + node +
        "=00\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: DRIVER=usb\nE: BUSNUM=" +
        bus.rightJustified(3, '0') + "\nE: DEVNUM=" + number.rightJustified(3, '0') +
        "\nE: DEVNAME=/dev/" + node + "\nE: ID_VENDOR_ID=" + vendor +
        "\nE: ID_MODEL_ID=" + product + "\nA: busnum=" + bus + "\\n\nA: devnum=" + number +
        "\\n\nA: bConfigurationValue=1\\n\nA: speed=12\\n\nA: idVendor=" + vendor +
        "\\n\nA: idProduct=" + product +
        "\\n\nH: descriptors=" + usbDescriptors(usb).toHex().toUpper() + "\n");
    return added ? QString() : QStringLiteral("The device cannot be put on the virtual desk.");
}

void UsbConnection::unplug()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_alive)
            return;
        m_alive = false;
    }
    pullPlug();
}

// Ends the open transfers, then removes the device. To be called without the lock.
void UsbConnection::pullPlug()
{
    m_kernel.runLater(0, [self = shared_from_this()] {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        self->finishAll();
    });
    m_kernel.removeDevice("/sys" + m_address.path(), "/dev/" + m_address.node());
}

bool UsbConnection::isAlive() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_alive;
}

void UsbConnection::retry(quint8 endpoint)
{
    m_kernel.runLater(0, [self = shared_from_this(), endpoint] {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        self->forgetVanishedClients();
        std::vector<unsigned long> waiting;
        for (const auto& urb : self->m_urbs)
            if (!urb->done && !urb->answered && urb->request.endpoint == endpoint)
                waiting.push_back(urb->serial);
        for (const unsigned long serial : waiting) {
            const auto urb = std::find_if(
                self->m_urbs.begin(), self->m_urbs.end(),
                [serial](const auto& candidate) { return candidate->serial == serial; });
            if (urb != self->m_urbs.end())
                self->ask(**urb);
        }
    });
}

bool UsbConnection::handle(const IoctlClient& client)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    forgetVanishedClients();
    return dispatch(client);
}

// Answers one request. Every branch completes it, at once or (claim, collect) a little later.
bool UsbConnection::dispatch(const IoctlClient& client)
{
    const unsigned long request = umockdev_ioctl_client_get_request(client.get());
    if (request == USBDEVFS_REAPURBNDELAY) {
        reap(client);
        return true;
    }
    if (!m_alive) {
        completeIoctl(client, 0, ENODEV);
        return true;
    }
    int number = 0;
    int error = 0;
    switch (request) {
    case USBDEVFS_GET_CAPABILITIES: {
        const IoctlData data = resolveArgument(client, sizeof(capabilities));
        if (data)
            writeAt(*data, 0, &capabilities, sizeof(capabilities));
        completeIoctl(client, 0, data ? 0 : EFAULT);
        return true;
    }
    case USBDEVFS_CLAIMINTERFACE:
        if (readArgument(client, &number, sizeof(number)))
            claim(client, number, 1);
        else
            completeIoctl(client, 0, EFAULT);
        return true;
    case USBDEVFS_RELEASEINTERFACE:
        error = readArgument(client, &number, sizeof(number)) ? release(client, number) : EFAULT;
        break;
    case USBDEVFS_GETDRIVER:
        error = driverName(client);
        break;
    case USBDEVFS_IOCTL:
        error = driverControl(client);
        break;
    case USBDEVFS_SUBMITURB:
        error = submit(client);
        break;
    case USBDEVFS_DISCARDURB:
        error = discard(client);
        break;
    case USBDEVFS_SETCONFIGURATION:
        error = namedRequest("set configuration");
        break;
    case USBDEVFS_SETINTERFACE:
        error = namedRequest("set interface");
        break;
    case USBDEVFS_CLEAR_HALT:
        error = namedRequest("clear halt");
        break;
    case USBDEVFS_RESET:
        error = namedRequest("reset");
        break;
    default:
        return false;
    }
    completeIoctl(client, 0, error);
    return true;
}

void UsbConnection::claim(const IoctlClient& client, int interface, int attempt)
{
    const auto holder = m_claims.find(interface);
    bool busy = m_drivers.count(interface) != 0;
    {
        const std::lock_guard<std::mutex> lock(m_shared->logMutex);
        busy = busy || m_shared->heldElsewhere;
    }
    if (!busy && holder != m_claims.end() && holder->second != client) {
        if (attempt < claimAttempts) {
            m_kernel.runLater(claimRetryMilliseconds,
                              [self = shared_from_this(), client, interface, attempt] {
                                  const std::lock_guard<std::mutex> lock(self->m_mutex);
                                  self->forgetVanishedClients();
                                  self->claim(client, interface, attempt + 1);
                              });
            return;
        }
        busy = true;
    }
    const auto& interfaces = m_shared->description.interfaces;
    const bool known =
        std::any_of(interfaces.begin(), interfaces.end(),
                    [interface](const UsbInterface& entry) { return entry.number == interface; });
    const int error = !m_alive ? ENODEV : !known ? ENOENT : busy ? EBUSY : 0;
    if (error == 0)
        m_claims[interface] = client;
    m_shared->record(interfaceEvent(UsbEvent::Claim, interface, error));
    completeIoctl(client, 0, error);
}

int UsbConnection::release(const IoctlClient& client, int interface)
{
    const auto holder = m_claims.find(interface);
    const bool mine = holder != m_claims.end() && holder->second == client;
    if (mine)
        m_claims.erase(holder);
    m_shared->record(interfaceEvent(UsbEvent::Release, interface, mine ? 0 : EINVAL));
    return mine ? 0 : EINVAL;
}

int UsbConnection::driverName(const IoctlClient& client)
{
    usbdevfs_getdriver query{};
    const IoctlData data = resolveArgument(client, sizeof(query));
    if (!data)
        return EFAULT;
    const auto interface = static_cast<int>(readAt<unsigned>(*data, 0));
    QByteArray name = m_drivers.count(interface) != 0 ? m_drivers[interface] : QByteArray();
    if (name.isEmpty()) {
        const std::lock_guard<std::mutex> lock(m_shared->logMutex);
        if (m_claims.count(interface) != 0 || m_shared->heldElsewhere)
            name = "usbfs";
    }
    if (name.isEmpty())
        return ENODATA;
    writeAt(*data, offsetof(usbdevfs_getdriver, driver), name.constData(),
            static_cast<std::size_t>(name.size()) + 1);
    return 0;
}

// Detaches or attaches the kernel's driver.
int UsbConnection::driverControl(const IoctlClient& client)
{
    usbdevfs_ioctl command{};
    if (!readArgument(client, &command, sizeof(command)))
        return EFAULT;
    const bool detach = static_cast<unsigned>(command.ioctl_code) == USBDEVFS_DISCONNECT;
    if (!detach && static_cast<unsigned>(command.ioctl_code) != USBDEVFS_CONNECT)
        return ENOTTY;
    int error = 0;
    if (detach) {
        error = m_drivers.erase(command.ifno) != 0 ? 0 : ENODATA;
    } else {
        const auto& interfaces = m_shared->description.interfaces;
        const auto found = std::find_if(
            interfaces.begin(), interfaces.end(),
            [&command](const UsbInterface& entry) { return entry.number == command.ifno; });
        if (found == interfaces.end() || m_claims.count(command.ifno) != 0)
            error = EBUSY;
        else if (!found->kernelDriver.isEmpty())
            m_drivers[command.ifno] = found->kernelDriver;
    }
    m_shared->record(
        interfaceEvent(detach ? UsbEvent::Detach : UsbEvent::Attach, command.ifno, error));
    return error;
}

int UsbConnection::namedRequest(const char* name)
{
    UsbEvent event;
    event.name = name;
    m_shared->record(std::move(event));
    return 0;
}

int UsbConnection::submit(const IoctlClient& client)
{
    auto urb = std::make_unique<Urb>();
    urb->client = client;
    urb->block = resolveArgument(client, sizeof(usbdevfs_urb));
    int error = 0;
    if (!urb->block || !readRequest(*urb, error))
        return error != 0 ? error : EFAULT;
    urb->serial = m_nextSerial++;
    UsbEvent event;
    event.kind = UsbEvent::Transfer;
    event.request = urb->request;
    event.error = UsbEvent::Pending;
    urb->event = m_shared->record(std::move(event));
    m_urbs.push_back(std::move(urb));
    // The submit request must be completed before the transfer can end.
    m_kernel.runLater(0, [self = shared_from_this(), serial = m_urbs.back()->serial] {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        const auto found =
            std::find_if(self->m_urbs.begin(), self->m_urbs.end(),
                         [serial](const auto& candidate) { return candidate->serial == serial; });
        if (found != self->m_urbs.end() && !(*found)->done)
            self->ask(**found);
    });
    return 0;
}

bool UsbConnection::readRequest(Urb& urb, int& error)
{
    const auto block = readAt<usbdevfs_urb>(*urb.block, 0);
    if (block.buffer_length < 0) {
        error = EINVAL;
        return false;
    }
    const auto length = static_cast<std::size_t>(block.buffer_length);
    urb.buffer = resolvePointer(urb.block.get(), offsetof(usbdevfs_urb, buffer), length);
    if (length > 0 && (!urb.buffer || static_cast<std::size_t>(urb.buffer->data_len) < length))
        return false;
    UsbRequest& request = urb.request;
    const char* bytes = urb.buffer ? reinterpret_cast<const char*>(urb.buffer->data) : "";
    request.endpoint = block.endpoint;
    request.length = block.buffer_length;
    if (block.type == USBDEVFS_URB_TYPE_CONTROL) {
        if (request.length < setupSize) {
            error = EINVAL;
            return false;
        }
        request.setup = {readAt<quint8>(*urb.buffer, 0), readAt<quint8>(*urb.buffer, 1),
                         readAt<quint16>(*urb.buffer, 2), readAt<quint16>(*urb.buffer, 4),
                         readAt<quint16>(*urb.buffer, 6)};
        request.kind = UsbRequest::Control;
        request.endpoint = request.setup.requestType & 0x80;
        request.length -= setupSize;
        bytes += setupSize;
    } else {
        request.kind =
            block.type == USBDEVFS_URB_TYPE_BULK ? UsbRequest::Bulk : UsbRequest::Interrupt;
        const int interface = findInterface(request.endpoint);
        if (interface < 0) {
            error = ENOENT;
            return false;
        }
        const auto holder = m_claims.find(interface);
        if (holder == m_claims.end() || holder->second != urb.client) {
            error = EBUSY;
            return false;
        }
    }
    if (!request.isIn())
        request.data = QByteArray(bytes, request.length);
    return true;
}

int UsbConnection::findInterface(quint8 endpoint) const
{
    for (const UsbInterface& interface : m_shared->description.interfaces) {
        for (const UsbEndpoint& entry : interface.endpoints)
            if (entry.address == endpoint)
                return interface.number;
    }
    return -1;
}

void UsbConnection::ask(Urb& urb)
{
    const UsbAnswer answer = m_shared->ask(urb.request);
    if (answer.kind == UsbAnswer::Never)
        return;
    urb.answered = true;
    if (answer.delay > 0) {
        m_kernel.runLater(answer.delay, [self = shared_from_this(), serial = urb.serial, answer] {
            const std::lock_guard<std::mutex> lock(self->m_mutex);
            self->apply(serial, answer);
        });
        return;
    }
    apply(urb.serial, answer);
}

void UsbConnection::apply(unsigned long serial, const UsbAnswer& answer)
{
    const auto found = std::find_if(m_urbs.begin(), m_urbs.end(),
                                    [serial](const auto& urb) { return urb->serial == serial; });
    if (found == m_urbs.end() || (*found)->done)
        return;
    if (answer.kind == UsbAnswer::Unplug) {
        if (m_alive) {
            m_alive = false;
            m_kernel.runLater(0, [self = shared_from_this()] { self->pullPlug(); });
        }
        finishAll();
        return;
    }
    complete(**found, answer);
}

void UsbConnection::complete(Urb& urb, const UsbAnswer& answer)
{
    if (answer.kind == UsbAnswer::Fail) {
        finish(urb, -answer.error, 0);
        return;
    }
    if (!urb.request.isIn()) {
        finish(urb, 0,
               answer.accepted < 0 ? urb.request.length
                                   : std::min(answer.accepted, urb.request.length));
        return;
    }
    const int actual = std::min(static_cast<int>(answer.bytes.size()), urb.request.length);
    if (actual > 0) {
        const std::size_t start = urb.request.kind == UsbRequest::Control ? setupSize : 0;
        writeAt(*urb.buffer, start, answer.bytes.constData(), static_cast<std::size_t>(actual));
    }
    {
        const std::lock_guard<std::mutex> lock(m_shared->logMutex);
        urb.event->received = answer.bytes.left(actual);
    }
    finish(urb, answer.bytes.size() > actual ? -EOVERFLOW : 0, actual);
}

// Ends a transfer and delivers it at once when its program is already waiting for one.
void UsbConnection::finish(Urb& urb, int status, int actual)
{
    writeAt(*urb.block, offsetof(usbdevfs_urb, status), &status, sizeof(status));
    writeAt(*urb.block, offsetof(usbdevfs_urb, actual_length), &actual, sizeof(actual));
    urb.done = true;
    {
        const std::lock_guard<std::mutex> lock(m_shared->logMutex);
        urb.event->error = -status;
        urb.event->actual = actual;
    }
    const IoctlClient client = urb.client;
    if (m_heldReaps.count(client) != 0 && deliver(client, m_urbs))
        m_heldReaps.erase(client);
}

void UsbConnection::finishAll()
{
    std::vector<Urb*> open;
    for (const auto& urb : m_urbs)
        if (!urb->done)
            open.push_back(urb.get());
    for (Urb* urb : open)
        finish(*urb, -ESHUTDOWN, 0);
}

int UsbConnection::discard(const IoctlClient& client)
{
    unsigned long address = 0;
    const UMockdevIoctlData* argument = umockdev_ioctl_client_get_arg(client.get());
    std::memcpy(&address, argument->data, sizeof(address));
    const auto found = std::find_if(m_urbs.begin(), m_urbs.end(), [&](const auto& urb) {
        return urb->client == client && urb->block->client_addr == address && !urb->done;
    });
    if (found == m_urbs.end())
        return EINVAL;
    finish(**found, -ENOENT, 0);
    return 0;
}

bool UsbConnection::deliver(const IoctlClient& client, Urbs& urbs)
{
    const auto found = std::find_if(urbs.begin(), urbs.end(), [&client](const auto& urb) {
        return urb->done && urb->client == client;
    });
    if (found == urbs.end())
        return false;
    const std::unique_ptr<Urb> urb = std::move(*found);
    urbs.erase(found);
    if (askIfAlive(client)) {
        const IoctlData target = resolveArgument(client, sizeof(void*));
        umockdev_ioctl_data_set_ptr(target.get(), 0, urb->block.get());
        completeIoctl(client, 0);
        m_delivered.insert(client);
    }
    return true;
}

void UsbConnection::reap(const IoctlClient& client)
{
    if (deliver(client, m_urbs))
        return;
    // After each transfer libusb collects until none is left: this "none" is answered without
    // delay.
    if (m_alive && m_delivered.erase(client) != 0) {
        completeIoctl(client, 0, EAGAIN);
        return;
    }
    if (!m_alive) {
        completeIoctl(client, 0, ENODEV);
        return;
    }
    const unsigned long serial = m_nextSerial++;
    m_heldReaps[client] = serial;
    m_kernel.runLater(emptyReapMilliseconds, [self = shared_from_this(), client, serial] {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        const auto held = self->m_heldReaps.find(client);
        if (held != self->m_heldReaps.end() && held->second == serial) {
            self->m_heldReaps.erase(held);
            if (self->askIfAlive(client))
                completeIoctl(client, 0, self->m_alive ? EAGAIN : ENODEV);
        }
    });
}

bool UsbConnection::askIfAlive(const IoctlClient& client)
{
    if (isGone(client))
        return false;
    const IoctlData argument = resolveArgument(client, sizeof(void*));
    if (isProgramAlive(client, argument.get()))
        return true;
    m_dead.insert(client);
    return false;
}

bool UsbConnection::isGone(const IoctlClient& client) const
{
    return m_dead.count(client) != 0 || !isConnected(client);
}

// There is no notification of a close: removes the claims and transfers of clients that have
// closed their file.
void UsbConnection::forgetVanishedClients()
{
    for (auto claim = m_claims.begin(); claim != m_claims.end();)
        claim = isGone(claim->second) ? m_claims.erase(claim) : std::next(claim);
    m_urbs.erase(std::remove_if(m_urbs.begin(), m_urbs.end(),
                                [this](const auto& urb) { return isGone(urb->client); }),
                 m_urbs.end());
    for (auto held = m_heldReaps.begin(); held != m_heldReaps.end();)
        held = isGone(held->first) ? m_heldReaps.erase(held) : std::next(held);
}

} // namespace virtual_desk
