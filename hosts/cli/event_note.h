/// \file event_note.h
/// A word about an event that will not happen by itself.

#pragma once

#include <string>

/// Says on standard error when what fires an event of the catalogue is switched off. Where nobody can tell, nothing is
/// said.
void noteDisabledEvent(const std::string& strEvent);
