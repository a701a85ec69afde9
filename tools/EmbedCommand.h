#pragma once
// `qx embed STREAM TEMPLATE OUTPUT`: puts a stream file into a page template.
namespace CLI {
class App;
}

namespace qx_tool {

void AddEmbedCommand(CLI::App& app);

// The words for a result code of the template embedding.
char const* DescribeEmbedResult(unsigned code);

}  // namespace qx_tool
