#pragma once

namespace qxtest {

/// Makes the system refuse a call to this process from now on, as a system that lacks it does;
/// false where that cannot be had.
/// @param error          errno of the call
/// @param firstArgument  of the calls that are refused; -1: all are
bool refuseCall(int number, int error, int firstArgument = -1);

} // namespace qxtest
