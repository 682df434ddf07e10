/// eorva task graph

#include <fmt/format.h>
#include <set>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "cli/usage.h"
#include "common/answers/reason_text.h"
#include "common/answers/task_answers.h"
#include "common/events/event_catalogue.h"
#include "common/store/records.h"
#include "common/tasks/task_graph.h"

namespace {

struct GraphOptions {
  std::string strEvent;
  std::string strFormat = "tree";
  bool blJson = false;
};

/// Draws each task below each task that it waits for; a subtree is drawn once.
class GraphTable {
public:
  GraphTable(const Host::TaskGraph& graph, const Host::OwnerNames& owners, bool blColor)
      : m_graph(graph),
        m_reasons(graph),
        m_owners(owners),
        m_table({{"TASK", false, true}, {"OWNER"}, {"WAITS FOR"}, {"NOTE"}}, blColor) {}

  void add(const Host::GraphTask& task, libscols_line* pParent) {
    const bool blFirst = m_setDrawn.insert(task.strName).second;
    libscols_line* pLine = m_table.addRow({{task.strName},
                                           {m_owners.at(task.strName)},
                                           {waitsForText(task.vecWaitsFor, task.blOnlyAfterSuccess)},
                                           {blFirst ? noteOf(task) : "see above", blFirst ? "yellow" : nullptr}},
                                          pParent);
    for (const Host::GraphTask* pNext : blFirst ? m_graph.dependantsOf(task.strName) : NONE) {
      add(*pNext, pLine);
    }
  }

  bool isDrawn(const std::string& strName) const { return m_setDrawn.count(strName) > 0; }
  void print() const { m_table.print(); }

private:
  inline static const std::vector<const Host::GraphTask*> NONE;

  /// Why the event does not start a task.
  std::string noteOf(const Host::GraphTask& task) {
    const std::vector<Host::Reason> vecReasons = m_reasons.of(task);
    return vecReasons.empty() ? std::string() : Host::reasonText(vecReasons.front());
  }

  const Host::TaskGraph& m_graph;
  Host::Reasons m_reasons;
  const Host::OwnerNames& m_owners;
  Table m_table;
  std::set<std::string> m_setDrawn;
};

void printTree(const Host::TaskGraph& graph, const Host::OwnerNames& owners, const std::string& strEvent,
               bool blColor) {
  GraphTable table(graph, owners, blColor);
  const std::vector<const Host::GraphTask*> vecTasks = graph.tasksOf(strEvent);
  for (const Host::GraphTask* pTask : vecTasks) {
    if (pTask->vecWaitsFor.empty()) {
      table.add(*pTask, nullptr);
    }
  }
  // Tasks without a root: circles, or tasks that wait for missing tasks.
  for (const Host::GraphTask* pTask : vecTasks) {
    if (!table.isDrawn(pTask->strName)) {
      table.add(*pTask, nullptr);
    }
  }
  table.print();
}

/// Escapes a quoted text for Graphviz.
std::string dotEscaped(const std::string& strText) {
  std::string strEscaped;
  for (const char c : strText) {
    if (c == '"' || c == '\\') {
      strEscaped += '\\';
    }
    strEscaped += c;
  }
  return strEscaped;
}

void printDot(const Host::TaskGraph& graph, const Host::OwnerNames& owners, const std::string& strEvent) {
  say("digraph \"{}\" {{\n  rankdir=LR;\n  node [shape=box];\n", dotEscaped(strEvent));
  Host::Reasons reasons(graph);
  for (const Host::GraphTask* pTask : graph.tasksOf(strEvent)) {
    const std::string strName = dotEscaped(pTask->strName);
    const bool blStarts = reasons.of(*pTask).empty();
    say("  \"{}\" [label=\"{}\\n{}\"{}];\n", strName, strName, dotEscaped(owners.at(pTask->strName)),
        blStarts ? "" : ", style=dashed");
    for (const std::string& strAwaited : pTask->vecWaitsFor) {
      say("  \"{}\" -> \"{}\"{};\n", dotEscaped(strAwaited), strName,
          pTask->blOnlyAfterSuccess ? " [label=success]" : "");
    }
  }
  say("}}\n");
}

int runGraph(const Context& context, const GraphOptions& options) {
  const Host::OpenStore session;
  Host::requireEvent(session, options.strEvent);
  const Json::Value jTasks = Host::listTaskMembers(
      session, {"task_name", "event", "depend_on_task", "enable", "owner", "owner_name", "only_after_success"});
  const Host::TaskGraph graph(jTasks);
  if (options.blJson || options.strFormat == "json") {
    JsonArray array;
    Host::forEachTask(session, Host::TASK_MEMBERS, Host::whereEvent(options.strEvent),
                      [&](const Json::Value& jTask) { array.add(Host::graphNodeForPrograms(graph, jTask)); });
    array.end();
  } else if (options.strFormat == "dot") {
    printDot(graph, Host::ownerNames(jTasks), options.strEvent);
  } else {
    printTree(graph, Host::ownerNames(jTasks), options.strEvent, context.isColored());
  }
  return EXIT_DONE;
}

}  // namespace

void addGraphCommand(CLI::App& task, Context& context) {
  CLI::App* pCommand = addCommand(task, "graph", "Show the dependencies of an event's tasks.",
                                  "  eorva task graph bootup\n"
                                  "  eorva task graph bootup --format dot | dot -Tsvg > bootup.svg\n");
  auto pOptions = onCommand(pCommand, context, &runGraph);
  pCommand->add_option("event", pOptions->strEvent, "event")->required()->type_name("EVENT");
  pCommand->add_option("--format", pOptions->strFormat, "tree, dot (for Graphviz) or json")
      ->check(oneOf({"tree", "dot", "json"}))
      ->type_name("FORMAT");
  pCommand->add_flag("--json", pOptions->blJson, "as JSON: an array of records, with \"waits_for\" and \"needed_by\"");
}
