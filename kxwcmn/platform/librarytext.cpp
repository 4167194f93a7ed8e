#include <algorithm>
#include <iterator>

#include "kxwcmn/platform/module.h"

namespace kxw {

namespace {

struct Text {
  UINT id;
  const char *english, *japanese;
};

constexpr Text kTexts[] = {
    {1, "Non-full color image cannot be opened!", "フルカラー以外の画像は開けません!"},
    {2, "TALVO format tag does not exist!", "TALVO形式のタグがありません!"},
    {3, "Wrong Color Chart version number; it cannot be used!",
     "カラーチャートのバージョン番号が違うため、使用できません!"},
    {4, "This is not a Color Chart file!", "カラーチャートのファイルではありません!"},
    {5, "No tag found in the management file!", "管理ファイルにタグがありません!"},
    {6, "Incorrect parameter!", "パラメータが正しくありません!"},
    {7, "Failed to obtain time!", "時刻を取得できませんでした!"},
    {8, "That file already exists!", "そのファイルはすでに存在します!"},
    {9, "Wrong file format!", "ファイルの形式が違います!"},
    {10, "Wrong file version number; it cannot be used!",
     "ファイルのバージョン番号が違うため、使用できません!"},
    {11, "Plugin not found!", "プラグインが見つかりません!"},
    {12, "Layer not found!", "レイヤーが見つかりません!"},
    {13, "File format not supported!", "対応していないファイル形式です!"},
    {14, "This format does not support that size!", "この形式はそのサイズに対応していません!"},
    {15, "DDR not connected!", "DDRが接続されていません!"},
    {16, "Vectorization error occurred!", "ベクター化でエラーが発生しました!"},
    {17, "Too many colors; vectorization failed!", "色数が多すぎるため、ベクター化できません!"},
    {18, "Error occurred during vector data processing!\nThe vector data may be corrupted.",
     "ベクターデータの処理中にエラーが発生しました!\nベクターデータが壊れている可能性があります。"},
    {100, "%s has changed. Save the changes?", "%sは変更されています。変更を保存しますか?"},
    {101, "%s is read-only.\nClose the file?", "%sは読み取り専用です。\nファイルを閉じますか?"},
    {102, "%s is read-only.", "%sは読み取り専用です。"},
};

}  // namespace

const char* LibraryText(UINT id, int language) {
  const auto found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                  [id](const Text& text) { return text.id == id; });
  if (found == std::end(kTexts)) return nullptr;
  return language == kLanguageJapanese ? found->japanese : found->english;
}

}  // namespace kxw
