#pragma once

/// Marks what libkxinformationmodel exports; everything else in it is hidden.
#define KX_INFORMATION_MODEL_EXPORT __attribute__((visibility("default")))
