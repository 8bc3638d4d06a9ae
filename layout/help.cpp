// The fixed lines of the help display, shown when no mode word is given.
#include "layout/form.h"

const QStringList& form_l::help_lines() {
    static const QStringList lines = {
        QString::fromUtf8("KORVAN??.EXE {PRINT[REAL],DISPLAY[TEST],DATA[TEST_DATA]_} データ "
                          "レイアウト 開始 終了"),
        QString::fromUtf8("文字，罫線，バーコード(code39,jan)を紙に印刷するためのプログラムです。"),
        QString::fromUtf8("◎'PRINT[REAL]'の時は実際に印刷します。、'DISPLAY[TEST]'"
                          "の時は印刷情報を画面に出します。"),
        QString::fromUtf8("◎'DISPLAY[TEST]_DATA'の時はデータを読まないで自動的に作り出します。"),
        QString::fromUtf8("  (VER11で廃止）マウス右ボタンのPrintで１頁分のテスト印刷をします。"),
        QString::fromUtf8("  ”P”キー押下で１頁分のテスト印刷をします。(VER11）"),
        QString::fromUtf8("  Enterキーで次のページを出し，Escキーで終了します。"),
        QString::fromUtf8("  →,←,↑,↓,で画面内を移動し,Inset,Delete,Home,Endで拡大縮小します。"),
        QString::fromUtf8(
            "  線幅が異なっても解像度の問題で画面で幅が変わって見えない時は拡大して下さい。"),
        QString::fromUtf8("◎作業中のディレクトリはWindowsは%SystemDrive%\\Q\\TMP,LINUXは/home/Q/"
                          "TMPと見なします。(Ver4)"),
        QString::fromUtf8("◎データが空の時は'KORVAN.TXT'と見なします。"),
        QString::fromUtf8("  データでそれぞれの印刷データをタブで区切って指定します。"),
        QString::fromUtf8(
            "  １ページ分のデータの終わりがレコードの切れ目と合わない場合エラーになります。"),
        QString::fromUtf8("◎レイアウトが空の時は'KORVAN.CSV'と見なします。"),
        QString::fromUtf8("  レイアウトで印刷レイアウトをＣＳＶ形式で指定します。"),
        QString::fromUtf8("  先頭に'*'の有るレコードは注釈とみなします。"),
        QString::fromUtf8("  最後に'\\'の有るレコードは継続します。"),
        QString::fromUtf8("  文字列が空の時はデータより文字列を読み込みます。"),
        QString::fromUtf8("  ｘは右方向，ｙは下方向のオフセットの位置です。(左上)"),
        QString::fromUtf8("  位置，高，幅は１ｍｍ単位で指定し小数点以下も指定できます。"),
        QString::fromUtf8(
            "  線種は次の指定ができます。（0=実線,1=破線,2=点線,3=１点破線,4=２点破線）"),
        QString::fromUtf8(
            "  "
            "数値項目を省略した場合は0見なし、くり返し項目が0の時は以降くり返し無しと見なします。"),
        QString::fromUtf8("◎開始は開始頁を指定します、省略又は０の時は１頁目の指定です。"),
        QString::fromUtf8("◎終了は終了頁を指定します、省略又は０の時は最後の頁の指定です。"),
        QString::fromUtf8("◎文字列が?_PAGE?の場合はページに変更します。（VER10)"),
        QString::fromUtf8("◎文字列が?_TODAY?の場合は印刷日で「年-月-日」に変更します。（VER10)"),
        QString::fromUtf8("■用紙を指定 PAPER,用紙サイズ,印刷の向き"),
        QString::fromUtf8(
            "             用紙サイズはA4,B5等プリンタで指定出来る物です,空は既定値です。"),
        QString::fromUtf8("             印刷の向きは1が縦向きで、2が横向きです、空は既定値です。"),
        QString::fromUtf8("■オフセット情報を指定 OFFSET,x,y[,x以降くり返し]。"),
        QString::fromUtf8("■線名を指定    LINE_SET,線名,線幅,線種,線名以降くり返し"),
        QString::fromUtf8("■文字名を指定  FONT,フォント (Ver7)"),
        QString::fromUtf8(
            "                  以降のCHAR_SETでフォントを省略した場合のフォントを指定します。"),
        QString::fromUtf8(
            "■文字名を指定  CHAR_SET,文字名,文字サイズ,フォント,属性,文字名以降くり返し"),
        QString::fromUtf8(
            "                "
            "文字サイズが0の場合はデータ側から「文字サイズ:文字列」で受け取ります。(Ver7)"),
        QString::fromUtf8(
            "                属性は'B'が太字で、'I'が斜体です、'BI'が太字で斜体です。"),
        QString::fromUtf8("◆下記の繰り返し指定 OCCURS,繰り返し数,ｘ,ｙ,繰り返し数以降くり返し"),
        QString::fromUtf8(
            "                  　   ｘ,ｙはオフセット位置です、次のoccurs指定まで有効です。"),
        QString::fromUtf8("●任意の線を引く   LINE,線名,x1,y1,x2,y2[,x1以降くり返し]"),
        QString::fromUtf8("●長方形の線を引く BOX,線名,x1,y1,x2,y2[,x1以降くり返し]"),
        QString::fromUtf8("●横の線を引く     X_LINE,線名,x1,y,x2[,yのくり返し]"),
        QString::fromUtf8("●縦の線を引く     Y_LINE,線名,x,y1,y2[,xのくり返し]"),
        QString::fromUtf8(
            "●楕円を引く       ARC,線名,x1,y1,x2,y2,開始角度,終了角度[,x1以降のくり返し]"),
        QString::fromUtf8(
            "●文字を印字       "
            "TEXT[_FIX][_V],文字列,文字名,[文字間隔],x,y,文字数,編集[,文字名以降くり返し]"),
        QString::fromUtf8("〇データを印字     "
                          "DATA[_FIX][_V],文字名,[文字間隔],x,y,文字数,編集[,文字名以降くり返し]"),
        QString::fromUtf8(
            "                     文字数が０の時は文字列(データ）より文字数を計算します。"),
        QString::fromUtf8(
            "                     "
            "編集はRは右詰め,Dは日付け(YYYY-MM-DD),-,+,.は数値で','を付加して右詰め、"),
        QString::fromUtf8("                     "
                          "Zは単に右詰めしますがZと．は少数点以下が０の時は．以下を印字しません。"),
        QString::fromUtf8("                     Eは+と同じですが先頭に\\記号を付加します。(Ver13)"),
        QString::fromUtf8("                     Yは日付けを日月年の順番（DD-MM-YYYY)で出します。"),
        QString::fromUtf8("                     ..._Vは縦方向に印刷します"),
        QString::fromUtf8(
            "                     ..._FIXは文字間隔を右端位置とみなして等間隔に印刷します。"),
        QString::fromUtf8(
            "                     ..._FIX_Vは文字間隔を下端位置とみなして等間隔に印刷します。"),
        QString::fromUtf8(
            "●縦印字文字を変更 REPLACE_V,変更前文字,変更後文字[,変更前文字以降くり返し]　(ver7)"),
        QString::fromUtf8("                     DATA_..._Vのデータの文字を更します。"),
        QString::fromUtf8(
            "●CODE39を印字 "
            "CODE39,[文字列],細線幅,ｺｰﾄﾞ縦,x,y,文字ｻｲｽﾞ,文字x,文字y[,細線幅以降くり返]"),
        QString::fromUtf8(
            "                 文字ｘと文字ｙはバーコード印字左下位置からのオフセット位置です。"),
        QString::fromUtf8(
            "                 文字列の最初と最後に'*'が無い場合はデジット文字と*を付加します。"),
        QString::fromUtf8(
            "                 文字列にバーコード変換出来ない文字が有るとエラー終了します。"),
        QString::fromUtf8("                 文字列が空白の場合データから設定します。"),
        QString::fromUtf8(
            "●IMAGEを印字する IMAGE,[ファイル名],x1,y1,x2,y2[,x1以降くり返し] （VER3) "),
        QString::fromUtf8("                    ファイル名が空白の場合データから設定します。"),
        QString::fromUtf8("                  "
                          "　x2とy2が0の時は実物大で印刷します★注意:"
                          "サイズ補正が出来ないので環境により大きさが異なります"),
        QString::fromUtf8("●JANを印字する JAN,[文字列],細線幅,ｺｰﾄﾞ縦,x,y[,細線幅以降くり返し]"),
        QString::fromUtf8("                  "
                          "８文字か１３文字以外印字出来ませんが、７文字か１２文字の時はデジット文字"
                          "を付加します。"),
        QString::fromUtf8("                  文字はOCR-Bフォントではありません。"),
        QString::fromUtf8("                  文字列が空白の場合データから設定します。"),
        QString::fromUtf8("●VERSIONを判定 VERSION,バージョン番号"),
        QString::fromUtf8("○用紙の種類は該当プリンタの指定出来るもののみ使用下さい。"),
    };
    return lines;
}
