#include "support/StderrCapture.h"

#include <gtest/gtest.h>

#include <iostream>

namespace kx::information_model::opc::testing {

StderrCapture::StderrCapture() {
    ::testing::internal::CaptureStderr();
}

StderrCapture::~StderrCapture() {
    if (active_) {
        std::cerr << stop();
    }
}

std::string StderrCapture::stop() {
    active_ = false;
    return ::testing::internal::GetCapturedStderr();
}

}  // namespace kx::information_model::opc::testing
