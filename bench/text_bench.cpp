// Text conversion: 10,000 short labels of 10 to 20 characters each, made
// into meshes of glyph triangles and outlines. Prints labels per second and
// the share of the time that goes into the glyph shells of the scene (the
// layout of cached glyphs, and once per character their outlines). Times are
// CPU time of this thread, so that other work on the machine doesn't count.
#include <time.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "conversion/TextConversion.h"
#include "scene/Database.h"
#include "scene/TextKit.h"
#include "scene/TextShell.h"

using namespace KZV;
namespace {

constexpr int kLabels = 10000;
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-./ ";
constexpr size_t kAlphabetSize = sizeof kAlphabet - 1;

double Now() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Labels like "Valve 207-B Nord": words of letters and digits.
std::vector<std::string> MakeLabels() {
  std::mt19937 random(20);
  std::vector<std::string> labels;
  for (int i = 0; i < kLabels; ++i) {
    size_t const length = 10 + random() % 11;
    std::string label;
    while (label.size() < length) label += kAlphabet[random() % kAlphabetSize];
    labels.push_back(label);
  }
  return labels;
}

double LayOut(std::vector<std::string> const& labels) {
  double const begin = Now();
  size_t faces = 0;
  for (auto const& label : labels) {
    TextKit kit;
    kit.SetText(label.c_str()).SetFont("DejaVu Sans");
    faces += detail::TextFaces(kit).face_list.size();
  }
  if (faces == 0) std::printf("no faces\n");
  return Now() - begin;
}

}  // namespace

int main() {
  std::vector<std::string> const labels = MakeLabels();
  double const cold = LayOut(labels);  // every character's outline made once
  double const layout = LayOut(labels);

  SegmentKey scratch = Database::CreateRootSegment("scratch");
  PointArray points;
  QX::Store::MeshData mesh;
  QX::Store::ElementWords pool;
  uint64_t triangles = 0, outline_words = 0;
  double const begin = Now();
  for (auto const& label : labels) {
    TextSettings settings;
    settings.string = label.c_str();
    settings.font = "DejaVu Sans";
    for (auto* list : {&mesh.face_elements, &mesh.line_elements}) {
      for (auto& element : *list) {
        element.clear();
        pool.push_back(std::move(element));
      }
      list->clear();
    }
    if (TextToMesh(settings, scratch, points, mesh, pool)) {
      triangles += mesh.face_elements[0].size() / 3;
      outline_words += mesh.line_elements[0].size();
    }
  }
  double const convert = Now() - begin;
  scratch.Delete();

  std::printf("labels %d, triangles %llu, outline words %llu\n", kLabels, (unsigned long long)triangles,
              (unsigned long long)outline_words);
  std::printf("conversion: %.0f labels/s (%.1f us a label)\n", kLabels / convert, 1e6 * convert / kLabels);
  std::printf("glyph shells from cached glyphs: %.1f%% of the conversion\n", 100 * layout / convert);
  std::printf("outlines of the %zu-character alphabet, made once: %.2f ms\n", kAlphabetSize, 1e3 * (cold - layout));
  return 0;
}
