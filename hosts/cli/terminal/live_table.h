/// \file live_table.h
/// The table of a running execution, in the size of the terminal.

#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

/// The row of a task, in the order of the columns.
struct LiveRow {
  enum class Rank { RUNNING, FAILED, WAITING, DONE };  ///< the first ones are shown where there is little room

  Rank rank = Rank::WAITING;
  std::string strTask;
  std::string strOwner;
  std::string strSince;
  std::string strTime;
  std::string strState;
  const char* szColor = nullptr;  ///< of the state, as an escape sequence
};

/// Draws the table.
/// \param cColumns  width of the terminal; no line is wider.
/// \param cLines    lines at most; 0 for no limit.
std::vector<std::string> drawLiveTable(std::vector<LiveRow> vecRows, std::size_t cColumns, std::size_t cLines);
