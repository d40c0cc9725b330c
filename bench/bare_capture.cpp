// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The yardstick: a program that does nothing but open a camera with OpenCV and take its first
// frame.

#include <opencv2/videoio.hpp>

#include <cstdlib>

int main(int, char* argv[])
{
    cv::VideoCapture capture(std::atoi(argv[1]));
    capture.set(cv::CAP_PROP_FRAME_WIDTH, 640);
    capture.set(cv::CAP_PROP_FRAME_HEIGHT, 480);
    cv::Mat frame;
    return capture.read(frame) ? EXIT_SUCCESS : EXIT_FAILURE;
}
