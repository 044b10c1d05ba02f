#pragma once

#include <information_model/Domain.h>

namespace plant {

/// Adds "/maintenance": intervals, dates and a note, all for clients to write.
void add_maintenance(kx::information_model::Domain& root);

/// Adds "/instruments": a collection of devices, each of which shows a quality other than good, and one
/// domain without children.
void add_instruments(kx::information_model::Domain& root);

/// Adds `count` double variables "/bulk/<i/1000>/v<i>", whose content is i; for load. Nothing if 0.
void add_bulk(kx::information_model::Domain& root, unsigned int count);

}  // namespace plant
