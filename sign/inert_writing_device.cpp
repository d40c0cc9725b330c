// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "sign/inert_writing_device.h"

QLinuxHidDev::QLinuxHidDev(QObject* parent)
    : QObject(parent)
{
}

int QLinuxHidDev::findDevice()
{
    return 0;
}

int QLinuxHidDev::openDevice()
{
    return -1;
}

int QLinuxHidDev::readData(int&, int&, int&)
{
    return 0;
}

int QLinuxHidDev::closeDevice()
{
    return 0;
}
