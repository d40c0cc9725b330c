// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/pen_reader_thread.h"

#include "diagnosis/log_secrets.h"
#include "sign/hid_writing_device.h"
#include "sign/session_state.h"

#include <QDebug>

QGetHandWrtingDevData::QGetHandWrtingDevData()
    : stop(false)
{
    setTerminationEnabled(true);
}

void QGetHandWrtingDevData::startReading()
{
    stopReading();
    stop = false;
    start(QThread::InheritPriority);
}

void QGetHandWrtingDevData::stopReading()
{
    if (!isRunning())
        return;
    stop = true;
    quit();
    wait();
}

void QGetHandWrtingDevData::run()
{
    if (stop)
        return;
    int x = 0;
    int y = 0;
    do {
        qWarning("qgethandwrtingdevdata");
        int p = 0;
        if (g_globalObj->handWritingDev->readData(x, y, p) != 0) {
            qWarning("readDataErro faild\n");
            Q_EMIT readDataErro();
        } else {
            if (logTellsAll())
                qWarning("getDataOk x = %d,y = %d,P = %d\n", x, y, p);
            Q_EMIT getDataOk(x, y, p);
            QThread::sleep(0);
        }
    } while (!stop);
}
