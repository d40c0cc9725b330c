// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "virtual/demo/demo_report.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

const char pageStart[] =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n"
    "<meta name=\"viewport\" content=\"width=device-width\">\n"
    "<title>A session at the virtual desk</title>\n"
    "<style>\n:root { color-scheme: light dark; font: 16px/1.5 sans-serif; }\n"
    "body { max-width: 70rem; margin: 2rem auto; padding: 0 1rem; }\n"
    "img { max-width: 100%; max-height: 24rem; border: 1px solid #888; background: #fff; }\n"
    "figure { display: inline-block; margin: .5rem 1rem .5rem 0; }\n"
    "pre { overflow-x: auto; }\n</style>\n<h1>A session at the virtual desk</h1>\n";

QString frames(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return FrameLog::shortened(QString::fromUtf8(file.readAll())).toHtmlEscaped();
}

} // namespace

bool writeReport(const QString& path, const QVector<DemoSession::Result>& results)
{
    QString page = QLatin1String(pageStart);
    for (const DemoSession::Result& result : results) {
        page += QStringLiteral("<h2>%1 %2</h2>\n<p>%3</p>\n")
                    .arg(result.succeeded ? QStringLiteral("✓") : QStringLiteral("✗"),
                         result.title.toHtmlEscaped(), result.summary.toHtmlEscaped());
        for (const QString& file : result.files)
            page += QStringLiteral("<figure><img src=\"%1\" alt=\"%1\"><figcaption>%1</figcaption>"
                                   "</figure>\n")
                        .arg(file);
    }
    const QString log = QFileInfo(path).dir().filePath(QStringLiteral("frames.log"));
    page += QStringLiteral("<h2>Frames</h2>\n<p>Seconds, direction, text; long values cut. "
                           "<a href=\"frames.log\">The whole log</a></p>\n<pre>%1</pre>\n")
                .arg(frames(log));
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(page.toUtf8()) > 0;
}
