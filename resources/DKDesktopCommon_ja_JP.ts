<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP">
<!-- Japanese texts for the toolkit's own widgets (context menus of line edits, spin boxes and text views). -->
<context>
    <name>QLineEdit</name>
    <message>
        <source>&amp;Undo</source>
        <translation>元に戻す(&amp;U)</translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation>やり直す(&amp;R)</translation>
    </message>
    <message>
        <source>Cu&amp;t</source>
        <translation>切り取り(&amp;T)</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>コピー(&amp;C)</translation>
    </message>
    <message>
        <source>&amp;Paste</source>
        <translation>貼り付け(&amp;P)</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>削除</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>すべてを選択</translation>
    </message>
</context>
<context>
    <name>QWidgetTextControl</name>
    <message>
        <source>&amp;Copy</source>
        <translation>コピー(&amp;C)</translation>
    </message>
    <message>
        <source>Copy &amp;Link Location</source>
        <translation>リンクの場所をコピー(&amp;L)</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>すべてを選択</translation>
    </message>
</context>
<context>
    <name>QAbstractSpinBox</name>
    <message>
        <source>&amp;Select All</source>
        <translation>すべてを選択(&amp;S)</translation>
    </message>
    <message>
        <source>&amp;Step up</source>
        <translation>上(&amp;S)</translation>
    </message>
    <message>
        <source>Step &amp;down</source>
        <translation>下(&amp;D)</translation>
    </message>
</context>
<context>
    <name>QComboBox</name>
    <message>
        <source>True</source>
        <translation>真</translation>
    </message>
    <message>
        <source>False</source>
        <translation>偽</translation>
    </message>
    <message>
        <source>Open the combo box selection popup</source>
        <translation>コンボボックスの選択用ポップアップを開く</translation>
    </message>
</context>
<context>
    <name>MAC_APPLICATION_MENU</name>
    <message>
        <source>About %1</source>
        <translation>%1 について</translation>
    </message>
    <message>
        <source>Hide %1</source>
        <translation>%1 を隠す</translation>
    </message>
    <message>
        <source>Hide Others</source>
        <translation>ほかを隠す</translation>
    </message>
    <message>
        <source>Preferences...</source>
        <translation>環境設定...</translation>
    </message>
    <message>
        <source>Quit %1</source>
        <translation>%1 を終了</translation>
    </message>
    <message>
        <source>Services</source>
        <translation>サービス</translation>
    </message>
    <message>
        <source>Show All</source>
        <translation>すべて表示</translation>
    </message>
</context>
</TS>
