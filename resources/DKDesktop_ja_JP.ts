<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP">
<!-- Japanese catalogue of the application. Texts with the prefix "D_" are placeholders that only this catalogue turns into what the user sees. An empty (unfinished) translation means the source text is shown as written; it is listed so the catalogue names every text the program passes through tr(). Add new texts to the context of the class that shows them. -->
<context>
    <name>MainWindow</name>
    <!-- Main window, page tabs, folder pickers, run checks and their messages. -->
    <message>
        <source>MainWindow</source>
        <translation>Dravik for Desktop</translation>
    </message>
    <message>
        <source>D_説明書(D)</source>
        <translation>説明書(&amp;D)</translation>
    </message>
    <message>
        <source>D_閉じる</source>
        <translation>終了</translation>
    </message>
    <message>
        <source>D_変換開始(C)</source>
        <translation>軽量化スタート</translation>
    </message>
    <message>
        <source>Alt+R_win</source>
        <translation>軽量化スタート(Alt+R)</translation>
    </message>
    <message>
        <source>Alt+V_win</source>
        <translation>このページの詳細設定(Alt+V)</translation>
    </message>
    <message>
        <source>add page</source>
        <translation>ページの追加(&amp;A)...</translation>
    </message>
    <message>
        <source>duplicate page</source>
        <translation>ページの複製(&amp;C)...</translation>
    </message>
    <message>
        <source>rename page</source>
        <translation>ページの名前変更(&amp;R)...</translation>
    </message>
    <message>
        <source>delete page</source>
        <translation>ページの削除(&amp;D)...</translation>
    </message>
    <message>
        <source>You can only add up to %1 pages.</source>
        <translation>%1ページまでしか追加できません。</translation>
    </message>
    <message>
        <source>New Page</source>
        <translation>新しいページ</translation>
    </message>
    <message>
        <source>-copy</source>
        <translation>-コピー</translation>
    </message>
    <message>
        <source>Can't delete all pages</source>
        <translation>全てのページを削除することはできません。</translation>
    </message>
    <message>
        <source>Delete Page!
page name : </source>
        <translation>ページを削除します。
ページ名 : </translation>
    </message>
    <message>
        <source>page name : </source>
        <translation>ページ名(&amp;P) : </translation>
    </message>
    <message>
        <source>Please name it</source>
        <translation>名前を付けてください。</translation>
    </message>
    <message>
        <source>The allowed length for the name is %1 characters.
character length : </source>
        <translation>名前に使用できる長さは %1 文字です。
文字の長さ :</translation>
    </message>
    <message>
        <source>This name is already registered.
Page name : </source>
        <translation>この名前はすでに登録されています。
ページ名 :</translation>
    </message>
    <message>
        <source>Page is Initialization</source>
        <translation>このページを初期化します。</translation>
    </message>
    <message>
        <source>outputFolder</source>
        <translation>出力フォルダー</translation>
    </message>
    <message>
        <source>not a folder.</source>
        <translation>フォルダーではありませんでした。</translation>
    </message>
    <message>
        <source>There are no files in the input folder that can be processed.</source>
        <translation>入力フォルダーに処理可能なファイルがありません。</translation>
    </message>
    <message>
        <source>Interrupted.</source>
        <translation>中断されました。</translation>
    </message>
    <message>
        <source>The program required for processing could not be found.</source>
        <translation>処理に必要なプログラムを見つける事ができませんでした。</translation>
    </message>
    <message>
        <source>Could not start program.
</source>
        <translation>プログラムを起動することができませんでした。</translation>
    </message>
    <message>
        <source>plase page name : </source>
        <translation>ページ名 : </translation>
    </message>
    <message>
        <source>
Overwrite page content.
Do you want to overwrite?</source>
        <translation>
このページに内容を上書きします。
上書きしますか？</translation>
    </message>
    <message>
        <source>imported page name : </source>
        <translation>インポートしたページ名:</translation>
    </message>
    <message>
        <source>
please rename</source>
        <translation>
名前を変更してください。</translation>
    </message>
    <message>
        <source>を生成出来ませんでした。</source>
        <translation>を生成できませんでした。</translation>
    </message>
    <message>
        <source>OK</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>はい</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>いいえ</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>キャンセル</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>追加</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>複製</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>保存</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>上書き</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>開く(&amp;O)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>一括処理...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>一括処理の設定(Alt+B)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>テーマ切り替え(&amp;T)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Dravik for Desktopについて(&amp;A)...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>終了(&amp;X)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source> のテーマを変更します。
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>現在のテーマは</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>「ダークモード」</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>「OSの設定」</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>です。
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>に変更しますか？
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>変更するとアプリを再起動します。
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>データの保存に失敗しました。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>説明書を開くことができませんでした。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>フォルダーを参照(&amp;B)...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>エクスプローラーで開く(&amp;O)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>入力フォルダー</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>出力フォルダー</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>フォルダー1つだけをドロップしてください。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>パスが長すぎる可能性があります。
短いパスに変更して再実行するか、またはより短いパス名の場所に移動して試してください。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>フォルダーが存在しません。
デスクトップを表示します。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>スタンプファイル (*.png *.webp *.avif *.gif);;PNGファイル (*.png);;WebPファイル (*.webp);;AVIFファイル (*.avif);;GIFファイル (*.gif);;すべてのファイル (*.*)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Dravik for Desktopのページ設定 (*.dkpage);;すべてのファイル (*.*)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>reducemodeが範囲外を示しています。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>JPEGファイル上限サイズの値が正しくありません。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>幅指定の値が正しくありません。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>高さ指定がの値が正しくありません。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>長辺指定がの値が正しくありません。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>倍率指定の値が正しくありません。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>スタンプファイルが見つかりません。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>追加オプションの指定が無効です。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>追加オプションは必ず「-」から始まります。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>使用不可の文字が使用されています。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>デフォルトで使用されるオプションが指定されています。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>出力フォルダーに入力フォルダーと同じ場所は指定できません。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>追加引数に問題があります。
引数指定を確認してください。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>追加引数に問題があります。引数指定を確認してください。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>の指定が無効です。
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>を指定してください。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>が存在しませんでした。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>でフォルダーを指定していません。
フォルダーを指定してください。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>内部処理後のファイルパスが許容値を超えています。
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>はフォルダーではありませんでした。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>の指定が無効です。
ファイルパスが許容値を超えています。
</source>
        <translation type="unfinished"></translation>
    </message>
    <!-- Page presets. -->
    <message>
        <source>ページ設定ファイルとして読み込めませんでした。</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TabTemplate</name>
    <!-- Page editor form. -->
    <message>
        <source>D_入力フォルダー(I) :</source>
        <translation>入力フォルダー(&amp;I) :</translation>
    </message>
    <message>
        <source>D_参照...</source>
        <translation>フォルダーを参照...</translation>
    </message>
    <message>
        <source>D_出力フォルダー(O) :</source>
        <translation>出力フォルダー(&amp;O) :</translation>
    </message>
    <message>
        <source>D_出力形式(F) :</source>
        <translation>出力形式(&amp;F) :</translation>
    </message>
    <message>
        <source>D_バランス(M)　(標準値=5)</source>
        <translation>バランス(&amp;M)</translation>
    </message>
    <message>
        <source>D_reducemode =</source>
        <translation>reducemode =</translation>
    </message>
    <message>
        <source>D_画質重視</source>
        <translation>画質重視</translation>
    </message>
    <message>
        <source>D_軽量化重視</source>
        <translation>軽量化重視</translation>
    </message>
    <message>
        <source>default=5</source>
        <translation>（ 標準値=5 ）</translation>
    </message>
    <message>
        <source>D_詳細設定</source>
        <translation>詳細設定</translation>
    </message>
    <message>
        <source>D_画像に合わせてJPEG・PNGを自動選択(遅い)</source>
        <translation>画像に合わせてJPEG・PNGを自動選択(遅い)</translation>
    </message>
    <message>
        <source>D_入力画像と同じ</source>
        <translation>入力画像と同じ</translation>
    </message>
    <message>
        <source>D_JPEG (拡張子 .jpg で出力)</source>
        <translation>JPEG (拡張子 .jpg で出力)</translation>
    </message>
    <message>
        <source>D_PNG (拡張子 .png で出力)</source>
        <translation>PNG (拡張子 .png で出力)</translation>
    </message>
    <message>
        <source>D_GIF (拡張子 .gif で出力)</source>
        <translation>GIF (拡張子 .gif で出力)</translation>
    </message>
    <message>
        <source>D_WebP(拡張子 .webp で出力)</source>
        <translation>WebP(拡張子 .webp で出力)</translation>
    </message>
    <message>
        <source>D_AVIF(拡張子 .avif で出力)</source>
        <translation>AVIF(拡張子 .avif で出力)</translation>
    </message>
    <message>
        <source>D_リサイズ(Z)</source>
        <translation>リサイズ(&amp;Z)</translation>
    </message>
    <message>
        <source>D_幅を合わせる</source>
        <translation>幅を合わせる</translation>
    </message>
    <message>
        <source>D_高さを合わせる</source>
        <translation>高さを合わせる</translation>
    </message>
    <message>
        <source>D_長辺を合わせる</source>
        <translation>長辺を合わせる</translation>
    </message>
    <message>
        <source>D_倍率(%)指定</source>
        <translation>倍率(%)指定</translation>
    </message>
    <message>
        <source>D_画像フィット(E)</source>
        <translation>画像フィット</translation>
    </message>
    <message>
        <source>D_幅(W) :</source>
        <translation>幅 :</translation>
    </message>
    <message>
        <source>D_ピクセル</source>
        <translation>ピクセル</translation>
    </message>
    <message>
        <source>D_高さ(H) :</source>
        <translation>高さ :</translation>
    </message>
    <message>
        <source>D_長辺(L) :</source>
        <translation>長辺 :</translation>
    </message>
    <message>
        <source>D_倍率(X) :</source>
        <translation>倍率 :</translation>
    </message>
    <message>
        <source>D_小さい画像は拡大しない(N)</source>
        <translation>小さい画像は拡大しない(&amp;N)</translation>
    </message>
    <message>
        <source>D_リサイズ方式(Q):</source>
        <translation>リサイズ方式(&amp;Q) :</translation>
    </message>
    <message>
        <source>D_内接(指定サイズに収める)</source>
        <translation>内接(指定サイズに収める)</translation>
    </message>
    <message>
        <source>D_内接(指定サイズに収める)、余白追加</source>
        <translation>内接(指定サイズに収める)、余白追加</translation>
    </message>
    <message>
        <source>D_外接、余白が生じないようにトリミング</source>
        <translation>外接、余白が生じないようにトリミング</translation>
    </message>
    <message>
        <source>D_内接と外接の中間、トリミングあり</source>
        <translation>内接と外接の中間、トリミングあり</translation>
    </message>
    <message>
        <source>D_縦と横に接するように変形</source>
        <translation>縦と横に接するように変形</translation>
    </message>
    <message>
        <source>D_画質重視(やや遅い)</source>
        <translation>画質重視(やや遅い)</translation>
    </message>
    <message>
        <source>D_バランス(画質重視と速度重視の中間)</source>
        <translation>バランス(画質重視と速度重視の中間)</translation>
    </message>
    <message>
        <source>D_速度重視</source>
        <translation>速度重視</translation>
    </message>
    <message>
        <source>D_JPEGファイルサイズ調整(J)</source>
        <translation>JPEGファイルサイズ調整(&amp;J)</translation>
    </message>
    <message>
        <source>D_上限ファイルサイズ(P) :</source>
        <translation>上限ファイルサイズ(&amp;P) :</translation>
    </message>
    <message>
        <source>D_Kバイト</source>
        <translation>KB（キロバイト）</translation>
    </message>
    <message>
        <source>D_上限内で可能な限り画質を維持する(1)</source>
        <translation>上限内で可能な限り画質を維持する</translation>
    </message>
    <message>
        <source>D_※　指定したファイルサイズ以下になるように画質を自動調整します</source>
        <translation>＊指定したファイルサイズ以下になるように画質を自動調整します。</translation>
    </message>
    <message>
        <source>D_処理対象ファイル</source>
        <translation>処理対象ファイル</translation>
    </message>
    <message>
        <source>D_JPEG多重処理スキップ機能</source>
        <translation>Dravikで軽量化済のJPEGファイルを多重に軽量化しない</translation>
    </message>
    <message>
        <source>D_更新ファイルのみ処理(U)</source>
        <translation>更新ファイルのみ処理</translation>
    </message>
    <message>
        <source>D_サブフォルダーも処理(S)</source>
        <translation>入力フォルダー内のサブフォルダーも処理</translation>
    </message>
    <message>
        <source>D_*入力フォルダー内にDravikで軽量化済の画像があったとき、二重に軽量化処理せず、
　出力フォルダーにファイルをそのままコピーします。 
* ONにすると画像に軽量化済マークを付加するため、出力ファイルサイズが数十バイト増加します。</source>
        <translation>＊入力フォルダー内にDravikで軽量化済の画像があったとき、二重に軽量化処理せず、
　出力フォルダーにファイルをそのままコピーします。 </translation>
    </message>
    <message>
        <source>D_＊このスイッチをONにすると、一度軽量化処理を行ったあと、
入力フォルダーに画像ファイルを追加してもう一度軽量化処理を実行するとき、
出力フォルダーに既に画像ファイルがあったら、処理を行わないようになります。
＊ただし、入力フォルダーにある画像ファイルが、
出力フォルダーにある対応する画像ファイルより新しいタイムスタンプの場合（更新ファイルの場合）は、
このスイッチがONでも処理を行います。</source>
        <translation>＊このスイッチをONにすると、一度軽量化処理を行ったあと、
　入力フォルダーに画像ファイルを追加してもう一度軽量化処理を実行するとき、
　出力フォルダーに既に画像ファイルがあったら、処理を行わないようになります。
　＊ただし、入力フォルダーにある画像ファイルが、
　出力フォルダーにある対応する画像ファイルより新しいタイムスタンプの場合（更新ファイルの場合）は、
　このスイッチがONでも処理を行います。</translation>
    </message>
    <message>
        <source>D_ロック　特殊設定</source>
        <translation>特殊設定(通常は初期状態のまま使用してください)</translation>
    </message>
    <message>
        <source>D_ログファイル(_DravikLog.txt)を出力(G)</source>
        <translation>ログファイル(_DravikLog.txt)を出力</translation>
    </message>
    <message>
        <source>D_低コントラスト画像の画質低下を抑制(2)　*アパレル向け</source>
        <translation>低コントラスト画像の画質低下を抑制 ＊アパレル写真向けはONにしてください。</translation>
    </message>
    <message>
        <source>D_JPEG出力時はベースラインJPEGで出力(3)　*通常時はOFFにしてください</source>
        <translation>プログレッシブJPEGを出力しない ＊通常時はOFFにしてください。</translation>
    </message>
    <message>
        <source>D_JPEG　ICCプロファイル(Y) :</source>
        <translation>JPEG　ICCプロファイル :</translation>
    </message>
    <message>
        <source>D_追加オプションを使用(K)</source>
        <translation>追加引数を使用</translation>
    </message>
    <message>
        <source>D_オプション(T) :</source>
        <translation>引数 : </translation>
    </message>
    <message>
        <source>D_変換・保持をサイズ等から自動選択(JPEG→JPEG変換時)</source>
        <translation>変換・保持をサイズ等から自動選択(JPEG→JPEG変換時)</translation>
    </message>
    <message>
        <source>D_常に保持(JPEG→JPEG変換時)</source>
        <translation>常に保持(JPEG→JPEG変換時)</translation>
    </message>
    <message>
        <source>D_sRGB色空間に変換して、ICCプロファイルを削除</source>
        <translation>sRGB色空間に変換して、ICCプロファイルを削除</translation>
    </message>
    <message>
        <source>D_色空間の変換をせずに、ICCプロファイルを削除</source>
        <translation>色空間の変換をせずに、ICCプロファイルを削除</translation>
    </message>
    <message>
        <source>D_import</source>
        <translation>このページにインポート...</translation>
    </message>
    <message>
        <source>「* ほかのコンピューターでエクスポートしたファイルを読み込み（インポート）、
　このページの設定に反映します。」</source>
        <translation>＊ほかのコンピューターでエクスポートしたファイルを読み込み（インポート）、
　このページの設定に反映します。</translation>
    </message>
    <message>
        <source>D_Init</source>
        <translation>このページを初期化</translation>
    </message>
    <message>
        <source>「* ほかのコンピューターにこのページの設定を移動するために、
　設定内容をファイルに出力（エクスポート）します。」</source>
        <translation>＊ほかのコンピューターにこのページの設定を移動するために、
　設定内容をファイルに出力（エクスポート）します。</translation>
    </message>
    <message>
        <source>D_export</source>
        <translation>このページをエクスポート...</translation>
    </message>
    <message>
        <source>Form</source>
        <translation>Dravik for Desktop</translation>
    </message>
    <message>
        <source>Alt+V_win</source>
        <translation>このページの詳細設定(Alt+V)</translation>
    </message>
    <message>
        <source>リサイズ</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>JPEGファイルサイズ調整</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ファイル名修飾</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>処理対象ファイル</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>スタンプ（透かしロゴ）</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>特殊設定</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>その他</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>末尾追加文字</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>サンプル :</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>スタンプ（透かしロゴ）(&amp;S)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>貼り付け位置 :</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>左上</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>上</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>右上</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>左</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>中央</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>右</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>左下</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>下</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>右下</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>スタンプファイル(&amp;T) :</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ファイルを参照...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>オフセット（位置微調整）</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ピクセル</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>不透明度 :</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>*AVIFも同様の処理になります。</source>
        <translation type="unfinished"></translation>
    </message>
    <!-- Folder pickers, drops and the stamp file dialog of the page editor. -->
    <message>
        <source>フォルダーを参照(&amp;B)...</source>
        <translation>フォルダーを参照(&amp;B)...</translation>
    </message>
    <message>
        <source>エクスプローラーで開く(&amp;O)</source>
        <translation>エクスプローラーで開く(&amp;O)</translation>
    </message>
    <message>
        <source>パスが長すぎる可能性があります。
短いパスに変更して再実行するか、またはより短いパス名の場所に移動して試してください。</source>
        <translation>パスが長すぎる可能性があります。
短いパスに変更して再実行するか、またはより短いパス名の場所に移動して試してください。</translation>
    </message>
    <message>
        <source>フォルダー1つだけをドロップしてください。</source>
        <translation>フォルダー1つだけをドロップしてください。</translation>
    </message>
    <message>
        <source>not a folder.</source>
        <translation>フォルダーではありませんでした。</translation>
    </message>
    <message>
        <source>フォルダーが存在しません。
デスクトップを表示します。</source>
        <translation>フォルダーが存在しません。
デスクトップを表示します。</translation>
    </message>
    <message>
        <source>開く(&amp;O)</source>
        <translation>開く(&amp;O)</translation>
    </message>
    <message>
        <source>キャンセル</source>
        <translation>キャンセル</translation>
    </message>
    <message>
        <source>スタンプファイル (*.png *.webp *.avif *.gif);;PNGファイル (*.png);;WebPファイル (*.webp);;AVIFファイル (*.avif);;GIFファイル (*.gif);;すべてのファイル (*.*)</source>
        <translation>スタンプファイル (*.png *.webp *.avif *.gif);;PNGファイル (*.png);;WebPファイル (*.webp);;AVIFファイル (*.avif);;GIFファイル (*.gif);;すべてのファイル (*.*)</translation>
    </message>
</context>
<context>
    <name>ProgressBarDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dravik for Desktop</translation>
    </message>
    <message>
        <source>D_処理中...</source>
        <translation>処理中...</translation>
    </message>
    <message>
        <source>D_経過時間：</source>
        <translation>経過時間：</translation>
    </message>
    <message>
        <source>D_残り時間：</source>
        <translation>残り時間：</translation>
    </message>
    <message>
        <source>D_計測中・・・</source>
        <translation>計測中・・・</translation>
    </message>
    <message>
        <source>D_中断</source>
        <translation>中断</translation>
    </message>
    <message>
        <source>Do you want to cancel?</source>
        <translation>中断しますか？</translation>
    </message>
    <message>
        <source>中断処理中…</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ResultDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dravik for Desktop</translation>
    </message>
    <message>
        <source>D_処理結果 :</source>
        <translation>処理結果 :</translation>
    </message>
    <message>
        <source>D_出力フォルダーを開く(O)</source>
        <translation>出力フォルダーを開く(&amp;O)</translation>
    </message>
    <message>
        <source>D_閉じる</source>
        <translation>閉じる</translation>
    </message>
    <message>
        <source>一括処理結果 :</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>エラーの発生したファイル :</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>クリップボードへコピー(&amp;C)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>元のファイルサイズの</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source> % に軽量化しました。
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>処理を中断しました。
</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>出力フォルダーのパスが指定されていません。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>出力フォルダーを見つけることができませんでした。
Path : </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>クリップボードへコピーしました。</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>MarqueeProgressBar</name>
    <message>
        <source>Form</source>
        <translation>Dravik for Desktop</translation>
    </message>
    <message>
        <source>D_処理中...</source>
        <translation>ファイル検索中...</translation>
    </message>
    <message>
        <source>D_中断</source>
        <translation>中断</translation>
    </message>
    <message>
        <source>Do you want to cancel?</source>
        <translation>中断しますか？</translation>
    </message>
    <message>
        <source>中断処理中…</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AboutDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dravik for Desktop</translation>
    </message>
    <message>
        <source>URLを開くことができませんでした。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Dravik for Desktopについて</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>OK</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>画像の処理は同梱のエンジン dravik.bin が行います。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ロゴをクリックすると説明書を開きます。</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ConflictDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dravik for Desktop</translation>
    </message>
    <message>
        <source>入力ファイルのなかに、拡張子違いの同名ファイルを検出したため、処理を中止しました。
同名ファイルのファイル名を変更するなどの対処ののち、再度、軽量化を実行してください。
拡張子違いの同名ファイル :</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>OK</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>BatchSettingDialog</name>
    <!-- Shown as written; listed for completeness. -->
    <message>
        <source>Dialog</source>
        <translation>Dravik for Desktop</translation>
    </message>
    <message>
        <source>一括処理設定</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>一括処理</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>OK</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>キャンセル</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>すべて</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RunDrivers</name>
    <message>
        <source>出力フォルダーに書き込むことができません。
Path : </source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
