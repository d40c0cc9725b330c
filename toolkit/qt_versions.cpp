// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "toolkit/qt_versions.h"

#include <QCoreApplication>
#include <QFont>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>
#else
#include <QStringEncoder>
#endif

#include <csignal>
#include <cstdio>
#include <sys/prctl.h>
#include <unistd.h>

namespace qt_versions {
namespace {

// Runs between fork and exec, where only system calls are safe.
void dependOnParent()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);
}

} // namespace

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

void ignoreMonitorResolution()
{
    QCoreApplication::setAttribute(Qt::AA_DisableHighDpiScaling);
}

void setLocaleCodecToGb2312()
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("GB2312"));
}

void setFontWeight(QFont& font, int weight)
{
    font.setWeight(weight);
}

DependentProcess::DependentProcess() = default;

void DependentProcess::setupChildProcess()
{
    dependOnParent();
}

#else

namespace {

void writeInGb2312(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QString line = qFormatLogMessage(type, context, message);
    if (line.isNull())
        return;
    QStringEncoder encoder("GB2312");
    const QByteArray bytes = encoder.isValid() ? QByteArray(encoder(line)) : line.toUtf8();
    std::fprintf(stderr, "%s\n", bytes.constData());
    std::fflush(stderr);
}

} // namespace

void ignoreMonitorResolution()
{
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
}

void setLocaleCodecToGb2312()
{
    const QtMessageHandler before = qInstallMessageHandler(nullptr);
    const QtMessageHandler standard = qInstallMessageHandler(writeInGb2312);
    if (before != standard)
        qInstallMessageHandler(before);
}

void setFontWeight(QFont& font, int weight)
{
    const int thin = QFont::Thin;
    font.setWeight(static_cast<QFont::Weight>(thin + weight * (QFont::Normal - thin) / 50));
}

DependentProcess::DependentProcess()
{
    setChildProcessModifier(dependOnParent);
}

#endif

} // namespace qt_versions
