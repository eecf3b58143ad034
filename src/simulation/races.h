#pragma once

namespace vantry::simulation {

/// Notes that what threads did before their Release of `object` comes before what the caller does
/// from now on.
void Acquire(const void* object);
/// Notes that what the caller did so far comes before what follows an Acquire of `object`.
void Release(const void* object);

}  // namespace vantry::simulation
