#include "filters/OrvoFilterDescriptor.h"

namespace nudora {

const OrvoFilterValue* OrvoFilterRow::find(std::string_view key) const {
  for (const Entry& e : entries_) {
    if (e.first == key) return &e.second;
  }
  return nullptr;
}

std::optional<int64_t> OrvoFilterRow::integer(std::string_view key) const {
  const OrvoFilterValue* v = find(key);
  if (!v || v->kind() != OrvoFilterValue::Kind::Integer) return std::nullopt;
  return v->integerValue();
}

std::optional<std::string> OrvoFilterRow::pieceName(std::string_view key) const {
  const OrvoFilterValue* v = find(key);
  if (!v || v->kind() != OrvoFilterValue::Kind::ShaderPiece) return std::nullopt;
  return v->text();
}

std::optional<std::string> OrvoFilterRow::imageName(std::string_view key) const {
  const OrvoFilterValue* v = find(key);
  if (!v || v->kind() != OrvoFilterValue::Kind::ImageName) return std::nullopt;
  return v->text();
}

namespace {

using Entry = OrvoFilterRow::Entry;

Entry num(const char* key, int64_t value) { return {key, OrvoFilterValue::integer(value)}; }
Entry piece(const char* key, const char* name) { return {key, OrvoFilterValue::shaderPiece(name)}; }
Entry image(const char* key, const char* fileName) { return {key, OrvoFilterValue::imageName(fileName)}; }
// Flags are read by presence; the value is always 1.
Entry flag(const char* key) { return num(key, 1); }

constexpr const char* kLUT = "fsh3DLUT";
constexpr const char* kLUTP = "fsh3DLUTParameters";
constexpr const char* kMovP = "fshMovieParameters";

// A plain lookup-table look.
OrvoFilterRow lutStyle(int64_t id, const char* lut) {
  return {num("styleid", id), piece("stylecode1", kLUT), piece("styleparameter", kLUTP), image("3DLUT", lut)};
}

// Cinematic looks that also force local tone mapping of the given type.
OrvoFilterRow hdrLutStyle(int64_t id, const char* lut, int64_t forceHDR) {
  return {num("styleid", id), piece("stylecode1", kLUT), piece("styleparameter", kLUTP), image("3DLUT", lut),
          num("ForceHDR", forceHDR)};
}

// A look written as colour code alone.
OrvoFilterRow codeStyle(int64_t id, const char* code) { return {num("styleid", id), piece("stylecode1", code)}; }

// Film looks: the lookup table sits in stylecode2, so it grades what the film
// code produced (the light-leak looks below use the opposite order).
OrvoFilterRow filmStyle(int64_t id, const char* filmCode, const char* lut, const char* grain) {
  return {num("styleid", id),      piece("stylecode1", filmCode), piece("stylecode2", kLUT),
          piece("styleparameter", kMovP), image("3DLUT", lut),   num("stype_type", 1),
          image("style_auxilary", grain)};
}

// Anamorphic film looks: the table first, the anamorphic code on its result.
OrvoFilterRow anamorphicStyle(int64_t id, const char* lut) {
  return {num("styleid", id), piece("stylecode1", kLUT), piece("stylecode2", "fshAnamorphic"),
          piece("styleparameter", kMovP), image("3DLUT", lut), num("stype_type", 1)};
}

// Light-leak looks: the table sits in stylecode1, so the leak is laid over the
// already graded picture and is not graded itself.
OrvoFilterRow leakStyle(int64_t id, const char* lut, const char* leak) {
  return {num("styleid", id), piece("stylecode1", kLUT), piece("stylecode2", "fshLightLeak"),
          piece("styleparameter", kLUTP), image("3DLUT", lut), image("style_auxilary", leak)};
}

std::vector<OrvoFilterRow> makeStyleRows() {
  return {
      lutStyle(18, "3DLUT_standard.png"),
      {num("styleid", 11), piece("stylecode1", "fshAdjustments"), piece("styleparameter", "fshAdjustmentsParameters")},
      codeStyle(1, "fshJolie"),
      codeStyle(2, "fshM"),
      {num("styleid", 3), piece("stylecode1", kLUT), piece("stylecode2", "fshOldTime"), piece("styleparameter", kLUTP),
       image("3DLUT", "3DLUT_oldtime.png")},
      codeStyle(4, "fshEnamel"),
      codeStyle(5, "fshMemory"),
      lutStyle(6, "3DLUT_vatnajokull.png"),
      codeStyle(7, "fshWagashi"),
      codeStyle(9, "fshMandeling"),
      codeStyle(10, "fshAdventure"),
      codeStyle(13, "fshMars"),
      codeStyle(14, "fshVenus"),
      codeStyle(17, "fshSweet"),
      lutStyle(58, "3DLUT_memory.png"),
      lutStyle(57, "3DLUT_fresh.png"),
      lutStyle(59, "3DLUT_breakfast.png"),
      lutStyle(56, "3DLUT_summer.png"),
      lutStyle(16, "3DLUT_LOMO1.png"),
      lutStyle(15, "3DLUT_F02.png"),
      codeStyle(8, "fshMaze"),
      lutStyle(19, "3DLUT_PX100UV_cold.png"),
      lutStyle(23, "3DLUT_LOMO_blue.png"),
      lutStyle(25, "3DLUT_LOMO_green.png"),
      lutStyle(24, "3DLUT_LOMO_purple.png"),
      lutStyle(26, "3DLUT_X_pro2.png"),
      lutStyle(28, "3DLUT_earlybird.png"),
      lutStyle(27, "3DLUT_PX680ColdAlt.png"),
      lutStyle(21, "3DLUT_Tmax3200.png"),
      lutStyle(22, "3DLUT_trix400.png"),
      lutStyle(20, "3DLUT_ink.png"),
      hdrLutStyle(29, "3DLUT_cinematic2.png", 3),
      hdrLutStyle(30, "3DLUT_cinematic.png", 3),
      hdrLutStyle(32, "3DLUT_sepia.png", 3),
      hdrLutStyle(33, "3DLUT_tealorange.png", 3),
      hdrLutStyle(31, "3DLUT_contrast.png", 3),
      hdrLutStyle(34, "3DLUT_ARRI.png", 3),
      codeStyle(12, "fshFreewheelin"),
      lutStyle(35, "3DLUT_seventies.png"),
      lutStyle(36, "3DLUT_fujisuperia1600.png"),
      lutStyle(38, "3DLUT_fuji800z.png"),
      lutStyle(37, "3DLUT_Portra_400.png"),
      filmStyle(39, "fshMovie1910", "3DLUT_PX100UV_cold.png", "movie_noise_early.jpg"),
      // The one film look graded by colour code instead of a table.
      {num("styleid", 40), piece("stylecode1", "fshMovie192030"), piece("stylecode2", "fshMandeling"),
       piece("styleparameter", kMovP), num("stype_type", 1), image("style_auxilary", "movie_noise_1891.jpg")},
      filmStyle(41, "fshMovie192030", "3DLUT_Tmax3200.png", "movie_noise_1891.jpg"),
      filmStyle(42, "fshMovie1940", "3DLUT_trix400.png", "movie_noise_1949.jpg"),
      filmStyle(43, "fshMovie1950", "3DLUT_seventies.png", "movie_noise_1891.jpg"),
      filmStyle(44, "fshMovie196070", "3DLUT_fuji800z.png", "movie_noise_1949.jpg"),
      filmStyle(45, "fshMovie196070", "3DLUT_cinematic.png", "movie_noise_1949.jpg"),
      anamorphicStyle(46, "3DLUT_tealorange.png"),
      {num("styleid", 47), piece("stylecode1", kLUT), piece("stylecode2", "fshAnamorphic"),
       piece("styleparameter", kMovP), image("3DLUT", "3DLUT_vatnajokull.png"), num("stype_type", 1),
       num("ForceHDR", 2)},
      {num("styleid", 48), piece("stylecode1", kLUT), piece("stylecode2", "fshAnamorphic"),
       piece("styleparameter", kMovP), image("3DLUT", "3DLUT_cinematic.png"), num("stype_type", 1),
       num("ForceHDR", 2)},
      leakStyle(49, "3DLUT_LOMO_green.png", "lightleak6.jpg"),
      leakStyle(50, "3DLUT_earlybird.png", "lightleak3.jpg"),
      leakStyle(51, "3DLUT_earlybird.png", "lightleak5.jpg"),
      leakStyle(52, "3DLUT_LOMO_blue.png", "lightleak2.jpg"),
      leakStyle(53, "3DLUT_LOMO_purple.png", "lightleak1.jpg"),
      leakStyle(54, "3DLUT_X_pro2.png", "lightleak9.jpg"),
      leakStyle(55, "3DLUT_earlybird.png", "lightleak10.jpg"),
      lutStyle(60, "3DLUT_vHiContrastYellow.png"),
      lutStyle(61, "3DLUT_vHiContrastBlue.png"),
      lutStyle(62, "3DLUT_JL2.png"),
  };
}

std::vector<OrvoFilterRow> makeLensRows() {
  return {
      {num("lensid", 1), piece("lenscode2", "fshBokeh"), piece("lensparameter", "fshBokehParameters"),
       flag("requirerPosition"), num("lensblur", 4)},
      {num("lensid", 2), piece("lenscode2", "fshTiltShift"), piece("lensparameter", "fshTiltShiftParameters"),
       flag("requirerPosition"), num("lensblur", 4)},
      {num("lensid", 11), piece("lenscode2", "fshSpotlight"), piece("lensparameter", "fshSpotlightParameters"),
       flag("requirerPosition")},
      // Blue-screen modes 0, 1, 2 are lenses 26, 27, 28.
      {num("lensid", 26), piece("lenscode2", "fshBlueScreenSimple"), piece("lensparameter", "fshBlueScreenParameters")},
      {num("lensid", 28), piece("lenscode2", "fshBlueScreenReplaceColor"),
       piece("lensparameter", "fshBlueScreenParameters"), flag("requirergbhsl")},
      {num("lensid", 27), piece("lenscode2", "fshBlueScreenMonoColor"),
       piece("lensparameter", "fshBlueScreenParameters")},
      {num("lensid", 20), piece("lenscode1", "fshElongating")},
      {num("lensid", 21), piece("lenscode1", "fshMirrorL2R")},
      {num("lensid", 22), piece("lenscode1", "fshMirrorR2L")},
      // The fish-eye bends coordinates before sampling and darkens the rim after.
      {num("lensid", 5), piece("lenscode1", "fshFishEye_part1"), piece("lenscode3", "fshFishEye_part2")},
      {num("lensid", 3), piece("lenscode1", "fshPerspective")},
      {num("lensid", 4), piece("lenscode2", "fshSoftFocus"), num("lensblur", 4)},
      {num("lensid", 6), piece("lenscode2", "fshZoomBlur")},
      {num("lensid", 23), piece("lenscode2", "fshDefog"), num("lensblur", 4), flag("conflict")},
      {num("lensid", 24), piece("lenscode2", "fshSnowy"), image("lens_auxilary", "frosted.jpg")},
      {num("lensid", 25), piece("lenscode2", "fshRainy"), image("lens_auxilary", "rain.jpg")},
      {num("lensid", 8), piece("lenscode2", "fshThermalVision"), flag("conflict")},
      {num("lensid", 16), piece("lenscode2", "fshComics"), flag("requirergbhsl"), flag("conflict"),
       num("lensblur", 3)},
      {num("lensid", 13), piece("lenscode2", "fshPainting"), flag("conflict"), num("lensblur", 4)},
      {num("lensid", 14), piece("lenscode2", "fshColoredSketch"), flag("conflict"), num("lensblur", 4)},
      {num("lensid", 15), piece("lenscode2", "fshNeon"), flag("conflict")},
      {num("lensid", 17), piece("lenscode2", "fshManga"), num("lensblur", 4)},
      {num("lensid", 7), piece("lenscode3", "fshVignette")},
      {num("lensid", 12), piece("lenscode3", "fshAnamorphic")},
      {num("lensid", 18), piece("lenscode2", "fshPop"), num("lensblur", 1), flag("conflict")},
      {num("lensid", 19), piece("lenscode2", "fshWaterColor"), flag("maxmin"), flag("requirergbhsl"),
       flag("conflict")},
      {num("lensid", 34), piece("lenscode2", "fshDisplacement_test"), image("lens_auxilary", "displacement_test.jpg")},
      {num("lensid", 9), piece("lenscode2", "fshTV"), piece("lensparameter", "fshLensRandomParameters"),
       image("lens_auxilary", "TV_noise.jpg"), flag("conflict"), num("lens_type", 2)},
      {num("lensid", 10), piece("lenscode2", "fshNightVision"), piece("lensparameter", "fshLensRandomParameters"),
       image("lens_auxilary", "TV_noise.jpg"), num("lens_type", 2)},
      {num("lensid", 35), piece("lenscode2", "fshInsect"), flag("conflict")},
      {num("lensid", 38), piece("lenscode2", "fshGhost"), piece("lensparameter", "fshLensRandomParameters"),
       num("lens_type", 2), flag("conflict")},
      {num("lensid", 39), piece("lenscode2", "fshWerewolf"), flag("conflict"), num("lens_type", 1)},
      {num("lensid", 40), piece("lenscode2", "fshVampire"), flag("conflict"), image("lens_auxilary", "blood.jpg")},
      {num("lensid", 36), piece("lenscode2", "fshRobotKiller")},
      {num("lensid", 37), piece("lenscode2", "fshMatrix"), image("lens_auxilary", "matrix.png")},
      {num("lensid", 41), piece("lenscode2", "fshFire"), piece("lens_function", "fshFireFunctions")},
      {num("lensid", 42), piece("lenscode2", "fshLightRay"), piece("lens_function", "fshLightRayFunctions")},
      {num("lensid", 43), piece("lenscode2", "fshNLMean")},
      {num("lensid", 44), piece("lenscode1", "fshSwirl")},
  };
}

// First row whose id equals the index. The tables are in catalogue order, not
// index order, so this is a walk rather than an index computation.
const OrvoFilterRow* firstRowWithId(const std::vector<OrvoFilterRow>& rows, std::string_view idKey, int64_t index) {
  for (const OrvoFilterRow& row : rows) {
    if (row.integer(idKey) == index) return &row;
  }
  return nullptr;
}

}  // namespace

std::shared_ptr<OrvoFilterDescriptor> OrvoFilterDescriptor::sharedInstance() {
  // The holder has no destructor call for its member, so the catalogue outlives
  // every static that might still read it while the process exits.
  union Holder {
    std::shared_ptr<OrvoFilterDescriptor> instance;
    Holder() : instance(std::make_shared<OrvoFilterDescriptor>()) {}
    ~Holder() {}
  };
  static Holder holder;
  return holder.instance;
}

OrvoFilterDescriptor::OrvoFilterDescriptor() : styleRows_(makeStyleRows()), lensRows_(makeLensRows()) {}

const OrvoFilterRow* OrvoFilterDescriptor::styleRow(int64_t styleIndex) const {
  return firstRowWithId(styleRows_, "styleid", styleIndex);
}

const OrvoFilterRow* OrvoFilterDescriptor::lensRow(int64_t lensIndex) const {
  return firstRowWithId(lensRows_, "lensid", lensIndex);
}

bool OrvoFilterDescriptor::doesFilterRequrePosition(int64_t lensIndex) const {
  const OrvoFilterRow* row = lensRow(lensIndex);
  return row && row->has("requirerPosition");
}

int64_t OrvoFilterDescriptor::getFilterRequreBlur(int64_t lensIndex) const {
  const OrvoFilterRow* row = lensRow(lensIndex);
  return row ? row->integer("lensblur").value_or(0) : 0;
}

bool OrvoFilterDescriptor::doesFilterRequreMaxMin(int64_t lensIndex) const {
  const OrvoFilterRow* row = lensRow(lensIndex);
  return row && row->has("maxmin");
}

bool OrvoFilterDescriptor::doesFilterRequreLensAuxilary(int64_t lensIndex) const {
  const OrvoFilterRow* row = lensRow(lensIndex);
  return row && (row->has("maxmin") || row->has("lens_auxilary"));
}

int64_t OrvoFilterDescriptor::getLensFilterType(int64_t lensIndex) const {
  const OrvoFilterRow* row = lensRow(lensIndex);
  return row ? row->integer("lens_type").value_or(0) : 0;
}

std::optional<std::string> OrvoFilterDescriptor::getLensAuxilaryName(int64_t lensIndex) const {
  const OrvoFilterRow* row = lensRow(lensIndex);
  return row ? row->imageName("lens_auxilary") : std::nullopt;
}

int64_t OrvoFilterDescriptor::getStyleFilterType(int64_t styleIndex) const {
  const OrvoFilterRow* row = styleRow(styleIndex);
  return row ? row->integer("stype_type").value_or(0) : 0;
}

std::optional<std::string> OrvoFilterDescriptor::getStyleFilter3DLUTImageName(int64_t styleIndex) const {
  const OrvoFilterRow* row = styleRow(styleIndex);
  return row ? row->imageName("3DLUT") : std::nullopt;
}

int64_t OrvoFilterDescriptor::getStyleFilterForceHDR(int64_t styleIndex) const {
  const OrvoFilterRow* row = styleRow(styleIndex);
  return row ? row->integer("ForceHDR").value_or(0) : 0;
}

std::optional<std::string> OrvoFilterDescriptor::getStyleAuxilaryName(int64_t styleIndex) const {
  const OrvoFilterRow* row = styleRow(styleIndex);
  return row ? row->imageName("style_auxilary") : std::nullopt;
}

std::optional<std::string> OrvoFilterDescriptor::filterAuxilaryImageName(int64_t) { return std::nullopt; }

}  // namespace nudora
