// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QProcess>

class QFont;

/// \brief The places where Qt 5 and Qt 6 differ; the rest of the source is the same for both.
namespace qt_versions {

/// Keeps the toolkit from scaling its windows by the monitors' resolution. To be called before the
/// application object exists.
void ignoreMonitorResolution();

/// Makes GB2312 the character set in which this process's diagnostics leave from now on.
///
/// With Qt 5 that is one effect of the locale's codec. Qt 6 has no such codec: there the default
/// output of diagnostics is replaced; a message handler that someone else installed stays.
void setLocaleCodecToGb2312();

/// \param weight from 0, thin, to 50, normal: the lighter half of the scale of Qt 5
void setFontWeight(QFont& font, int weight);

/// \brief A child process that is killed when the thread that started it ends, and in a process
/// group of its own, which Ctrl-C in the terminal does not reach.
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
