// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Reading identity cards: the security module's number, a card on the USB reader and a card on the
// HID reader. A card's record takes about a megabyte of the handler's stack frame.

#include "files/fixed_file.h"
#include "idcard/hid_reader.h"
#include "idcard/id_info.h"
#include "idcard/id_info_text.h"
#include "idcard/read_id_card.h"
#include "idcard/sam_number.h"
#include "idimage/holder_photo.h"
#include "server/text_message_processor.h"

#include <QBuffer>
#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>

#include <vector>

namespace {

const QString& cardRead()
{
    static const QString text = QStringLiteral("读卡成功");
    return text;
}

QString photoFile()
{
    return QString::fromLatin1(HolderPhoto::path);
}

// The photo file written while the record was decoded, as the Base64 text of a bitmap; empty when
// there is none.
QString loadPhoto()
{
    QByteArray bitmap;
    QBuffer buffer(&bitmap);
    buffer.open(QIODevice::WriteOnly);
    QImage::fromData(FixedFile::read(photoFile())).save(&buffer, "bmp");
    return QString::fromLatin1(bitmap.toBase64());
}

// A fingerprint block begins with "C"; otherwise the card has no fingerprints.
QString fingerprintText(const IDINFO& info)
{
    if (info.figData[0] != 'C')
        return QStringLiteral("");
    const auto block = QByteArray::fromRawData(reinterpret_cast<const char*>(info.figData),
                                               IDINFO::FingerprintBlockBytes);
    return QString::fromLatin1(block.toHex().toUpper());
}

QJsonObject cardData(const IDINFO& info, const QString& photo)
{
    QJsonObject data{
        {QStringLiteral("figData"), fingerprintText(info)},
        {QStringLiteral("CardType"), fieldText(info.CardType)},
        {QStringLiteral("name"), fieldText(info.name)},
        {QStringLiteral("englishName"), fieldText(info.englishName)},
        {QStringLiteral("gender"), fieldText(info.gender)},
        {QStringLiteral("issueOrg"), fieldText(info.issueOrg)},
        {QStringLiteral("address"), fieldText(info.address)},
        {QStringLiteral("effectDate"), fieldText(info.effectDate)},
        {QStringLiteral("expireDate"), fieldText(info.expireDate)},
        {QStringLiteral("birthday"), fieldText(info.birthday)},
        {QStringLiteral("idNum"), fieldText(info.idNum)},
        {QStringLiteral("passNum"), fieldText(info.passNum)},
        {QStringLiteral("nation"), fieldText(info.nation)},
        {QStringLiteral("nationCode"), fieldText(info.nationCode)},
        {QStringLiteral("signCount"), fieldText(info.signCount)},
        {QStringLiteral("dn"), QStringLiteral("dn")},
        {QStringLiteral("CertVersion"), fieldText(info.CertVersion)},
    };
    if (!photo.isEmpty())
        data.insert(QStringLiteral("photo"), photo);
    return data;
}

struct HidFailure
{
    long result = 0;
    QString message;
};

// Reads the raw data of the card with an opened reader.
HidFailure takeHidCard(HidIDCard& reader, long handle, unsigned char* data)
{
    long result = reader.PICC_Reader_ID_Request(handle);
    if (result != 0)
        return {result, QStringLiteral("寻卡失败")};
    result = reader.PICC_Reader_ID_Select(handle);
    if (result != 0)
        return {result, QStringLiteral("选卡失败")};
    result = reader.PICC_Reader_ID_Read(handle, data);
    if (result < 0)
        return {result, QStringLiteral("身份证读卡失败")};
    return {};
}

} // namespace

void CTextMessageProcessor::ZCGetSAMNum(QString functionName, QWebSocket* client,
                                        QString /*request*/)
{
    qWarning("ZCGetSAMNum");
    const SamNumber sam = querySamNumber();
    qWarning("L_Error1");
    send(client, CreateJson(functionName, sam.success ? 1 : -1, sam.message, sam.number, {}));
}

void CTextMessageProcessor::ZCReadIDCard(QString functionName, QWebSocket* client,
                                         QString /*request*/)
{
    qWarning("ZCReadIDCard2");
    ReadIDCard reader;
    IDINFO info{};
    char message[ReadIDCard::MessageBytes] = {};
    int result = reader.readCard(&info, message);
    if (result != ReadIDCard::CardRead)
        result = reader.readCard(&info, message);
    if (result != ReadIDCard::CardRead) {
        send(client, CreateJson(functionName, result, QStringLiteral("读卡失败"), {}, {}));
        return;
    }
    const QString photo = loadPhoto();
    if (m_restrictions.keepPictures()) {
        reader.IDCardPicFront(&info);
        reader.IDCardPicBack(&info);
    }
    QFile::remove(photoFile());
    send(client, CreateJsonIDCard(functionName, 1, cardRead(), &info, photo));
}

void CTextMessageProcessor::ZCReadHIDIDCard(QString functionName, QWebSocket* client,
                                            QString /*request*/)
{
    qWarning("ZCReadHIDOpen");
    HidIDCard reader;
    IDINFO info{};
    std::vector<unsigned char> data(HidIDCard::MessageBytes);
    char port[] = "USB1";
    const long handle = reader.ICC_Reader_Open(port);
    const HidFailure failure = takeHidCard(reader, handle, data.data());
    if (!failure.message.isEmpty()) {
        reader.ICC_Reader_Close(handle);
        send(client,
             CreateJson(functionName, static_cast<int>(failure.result), failure.message, {}, {}));
        return;
    }
    ReadIDCard().AnalysisID(data.data(), &info, false, nullptr);
    const QString photo = loadPhoto();
    QFile::remove(photoFile());
    send(client, CreateJsonIDCard(functionName, 1, cardRead(), &info, photo));
    reader.ICC_Reader_Close(handle);
}

QString CTextMessageProcessor::CreateJsonIDCard(QString functionName, int /*success*/, QString msg,
                                                IDINFO* info, QString photo) const
{
    qWarning("idcard 1\n");
    const QJsonObject reply{
        {QStringLiteral("functionName"), functionName},
        {QStringLiteral("err_code"), 0},
        {QStringLiteral("err_msg"), msg},
        {QStringLiteral("_tflag"), m_tflag},
        {QStringLiteral("data"), cardData(*info, photo)},
    };
    return QString::fromUtf8(QJsonDocument(reply).toJson(QJsonDocument::Compact));
}

// Accepted for pages that still send it: nothing is opened and no reply is sent.
void CTextMessageProcessor::ZCReadHIDOpen(QString /*functionName*/, QWebSocket* /*client*/,
                                          QString /*request*/)
{
}
