// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QProcess>

class QFont;

/// \brief The places where Qt 5 and Qt 6 differ; the rest of the source is the same for both.
namespace qt_versions {

/// Stops Qt from scaling windows by the monitors' resolution. To be called before the application
/// object is created.
void ignoreMonitorResolution();

/// From this call on, this process's diagnostics are written in GB2312.
///
/// Qt 5 writes them in the locale's codec, which this sets. Qt 6 has no such codec: there the
/// default message handler is replaced, unless another handler is installed already.
void setLocaleCodecToGb2312();

/// \param weight from 0, thin, to 50, normal: the lighter half of the scale of Qt 5
void setFontWeight(QFont& font, int weight);

/// \brief A child process that is killed when the thread that started it ends. It has its own
/// process group, so that Ctrl-C in a terminal does not signal it.
class DependentProcess : public QProcess
{
public:
    DependentProcess();

private:
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    void setupChildProcess() override;
#endif
};

} // namespace qt_versions
