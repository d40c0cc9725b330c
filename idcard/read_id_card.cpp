// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// One whole read of a card: open the reader, find out its module, find and select the card, read
// its data, decode it and close the reader. The other members call the free function that does the
// work.

#include "idcard/read_id_card.h"

#include "idcard/card_faces_of_record.h"
#include "idcard/identity_record.h"
#include "idcard/usb_reader.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QString>

#include <array>
#include <cstdio>

namespace {

void setMessage(char* message, const char* text)
{
    std::snprintf(message, ReadIDCard::MessageBytes, "%s", text);
}

bool openReader(UsbReader::Session& session, char* message)
{
    if (!session.initialise()) {
        setMessage(message, "init USB failed");
        qWarning("ZCStartDeviceAB");
        return false;
    }
    if (!session.open()) {
        const char* failure = "libusb_open_device_with_vid_pid(0x0400, 0xC35A) failed \n";
        setMessage(message, failure);
        qWarning("%s", failure);
        return false;
    }
    if (!session.claim()) {
        setMessage(message, "libusb_claim_interface(0) \n");
        qWarning("libusb_claim_interface(0) failed:[0] \n");
        return false;
    }
    return true;
}

} // namespace

int ReadIDCard::readCard(IDINFO* info, char* message)
{
    m_isModule0501 = true;
    UsbReader::Session session;
    if (!openReader(session, message))
        return ReaderNotOpened;
    if (!identifyModule(session.handle())) {
        session.end();
        setMessage(message, "获取0503模块SAMID失败");
        return NoSamNumber;
    }
    setMessage(message, "获取SAMID成功");
    qWarning("%s", m_isModule0501 ? "获取0501-SAMID成功" : "获取0503-SAMID成功");
    qWarning("%s", m_samText);

    std::array<unsigned char, CardDataBytes> data{};
    int fingerprintFlag = 0;
    const int32_t result = m_isModule0501
                               ? takeCard0501(session.handle(), data.data(), &fingerprintFlag)
                               : takeCard0503(session.handle(), data.data(), &fingerprintFlag);
    if (result != 0) {
        setMessage(message, "read card failed");
        qWarning("读卡失败");
        return CardNotRead;
    }
    qWarning("读取二代证成功，并开始解析数据");
    AnalysisID(data.data(), info, true, nullptr);
    qWarning("退出并释放 libUSb 资源");
    return CardRead;
}

bool ReadIDCard::identifyModule(libusb_device_handle* handle)
{
    qWarning("开始获取0501模块SAMOID");
    if (getIDSAM0501(handle, m_samText) == 0) {
        qWarning("获取0501模块SAMOID成功");
        return true;
    }
    qWarning("获取0501模块SAMID失败，开始获取0503模块SAMOID");
    if (getIDSAM0503(handle, m_samText) != 0)
        return false;
    m_isModule0501 = false;
    return true;
}

// Errors of find and select are ignored; only the result of the read counts.
int32_t ReadIDCard::takeCard0501(libusb_device_handle* handle, unsigned char* data,
                                 int* fingerprintFlag)
{
    findCard0501(handle);
    selectCard0501(handle);
    return readCardData0501(handle, data, fingerprintFlag);
}

int32_t ReadIDCard::takeCard0503(libusb_device_handle* handle, unsigned char* data,
                                 int* fingerprintFlag)
{
    qWarning("findCard0503");
    if (selectCard0503(handle) == 0)
        qWarning("寻卡成功");
    qWarning("selectCard0503");
    if (findCard0503(handle) == 0)
        qWarning("选卡成功");
    qWarning("readCardData0503");
    const int32_t result = readCardData0503(handle, data, fingerprintFlag);
    if (result == 0)
        qWarning("读卡成功");
    return result;
}

int32_t ReadIDCard::getIDSAM0501(libusb_device_handle* handle, char* samText)
{
    return UsbReader::getIDSAM0501(handle, samText);
}

int32_t ReadIDCard::getIDSAM0503(libusb_device_handle* handle, char* samText)
{
    return UsbReader::getIDSAM0503(handle, samText);
}

int32_t ReadIDCard::findCard0501(libusb_device_handle* handle)
{
    return UsbReader::findCard0501(handle);
}

int32_t ReadIDCard::selectCard0501(libusb_device_handle* handle)
{
    return UsbReader::selectCard0501(handle);
}

int32_t ReadIDCard::readCardData0501(libusb_device_handle* handle, unsigned char* output,
                                     int* fingerprintFlag)
{
    return UsbReader::readCardData0501(handle, output, fingerprintFlag);
}

// In the interface these two names are exchanged.
int32_t ReadIDCard::selectCard0503(libusb_device_handle* handle)
{
    return UsbReader::findCard0503(handle);
}

int32_t ReadIDCard::findCard0503(libusb_device_handle* handle)
{
    return UsbReader::selectCard0503(handle);
}

int32_t ReadIDCard::readCardData0503(libusb_device_handle* handle, unsigned char* output,
                                     int* fingerprintFlag)
{
    return UsbReader::readCardData0503(handle, output, fingerprintFlag);
}

void ReadIDCard::addMask(QPixmap& face, IDINFO* info)
{
    CardFaces::paintFront(face, frontTexts(*info));
}

void ReadIDCard::addMaskBack(QPixmap& face, IDINFO* info)
{
    CardFaces::paintBack(face, backTexts(*info));
}

void ReadIDCard::addMaskByPath(QString& source, QString& target, IDINFO* info)
{
    CardFaces::writeFront(source, target, frontTexts(*info));
}

void ReadIDCard::addMaskByPathBack(QString& source, QString& target, IDINFO* info)
{
    CardFaces::writeBack(source, target, backTexts(*info));
}

void ReadIDCard::IDCardPicFront(IDINFO* info)
{
    QString source = QStringLiteral("./front.jpg");
    QString target = QStringLiteral("./frontNew.jpg");
    addMaskByPath(source, target, info);
}

void ReadIDCard::IDCardPicBack(IDINFO* info)
{
    QString source = QStringLiteral("./back.jpg");
    QString target = QStringLiteral("./backNew.jpg");
    addMaskByPathBack(source, target, info);
}

bool ReadIDCard::getFileContetBase64(const QString& path, QString& base64)
{
    if (path.isEmpty() || !QFile::exists(path)) {
        qDebug("文件路径不存在");
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qDebug("打开文件失败");
        return false;
    }
    const QByteArray text = file.readAll().toBase64();
    if (!text.isNull())
        base64 = QString::fromLatin1(text);
    return true;
}

int ReadIDCard::AnalysisID(const unsigned char* data, IDINFO* info, bool withPrefix,
                           char* /*scratch*/)
{
    decodeRecord(data, info, withPrefix);
    return 0;
}

int ReadIDCard::Utf16_To_Utf8(const uint16_t* source, uint8_t* target, size_t targetSize,
                              ConversionFlags flags)
{
    return ::Utf16_To_Utf8(source, target, targetSize, flags);
}

int ReadIDCard::TurnAscii(long codePoint, char* out)
{
    return ::TurnAscii(codePoint, out);
}

int ReadIDCard::U2A(const char* gbHex, char* out)
{
    return ::U2A(gbHex, out);
}

int ReadIDCard::UnicodeToAnsihc(const uint8_t* source, uint8_t* target, int unused, int sourceBytes)
{
    return ::UnicodeToAnsihc(source, target, unused, sourceBytes);
}

int ReadIDCard::delete_spance(const char* source, char* target)
{
    return ::delete_spance(source, target);
}
