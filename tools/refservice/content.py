"""What the reference service publishes: the help list and the small web pages."""

import html

# Version of the built-in help list. The application's seed list carries a
# lower version, so a fresh installation takes this list on its first refresh.
HELP_LIST_VERSION = 3

# The built-in help list. "{base}" in an image address stands for the address
# under which the client reached the service (scheme, host and port).
HELP_LIST = {
    "version": HELP_LIST_VERSION,
    "expandFirst": True,
    "helplist": [
        {
            "id": 101,
            "type": 1,
            "title": "如何切换到Vesko输入法？",
            "brief": "按 Ctrl+空格 在系统的键盘布局和Vesko输入法之间切换。",
            "detail": "Vesko输入法通过桌面的输入法框架工作。按 Ctrl+空格（或你在系统设置中为“切换输入法”指定的快捷键）"
            "即可在键盘布局和Vesko输入法之间切换，面板或任务栏上的输入法图标会显示当前状态。"
            "如果按下后没有反应，请在系统设置的“区域与语言”或输入法配置工具中确认已经添加了Vesko输入法，然后注销并重新登录一次。",
            "image": "{base}/static/help/helpinfo_101.png",
        },
        {
            "id": 102,
            "type": 2,
            "title": "怎样快速切换中英文？",
            "brief": "单击 Shift 键即可在中文和英文之间切换；正在输入的拼音会作为英文直接上屏，不会丢失。",
            "image": "{base}/static/help/helpinfo_102.png",
        },
        {
            "id": 103,
            "type": 3,
            "title": "候选词怎么翻页和选择？",
            "detail": "输入拼音后，候选窗口会列出多个候选词。按 - 和 = 键（也可以用 , 和 . 键，或 Page Up 和 Page Down）"
            "向前、向后翻页；按数字键 1 到 9 选择对应的候选词，按空格选择第一个候选词，按回车把拼音原样作为英文上屏。",
            "image": "{base}/static/help/helpinfo_103.png",
        },
        {
            "id": 104,
            "type": 1,
            "title": "分不清平翘舌、前后鼻音怎么办？",
            "brief": "打开“模糊音”，例如勾选 z=zh、n=l，输入时不再区分这些读音。",
            "detail": "在Vesko输入法的偏好设置中打开“拼音”页，勾选需要的模糊音组合：z=zh、c=ch、s=sh 用于平翘舌，"
            "n=l、f=h 用于声母，an=ang、en=eng、in=ing 用于前后鼻音。勾选后立即生效，"
            "例如输入 zi 也能得到“知”。模糊音越多，候选词越多，只开需要的即可。",
            "image": "{base}/static/help/helpinfo_104.png",
        },
        {
            "id": 105,
            "type": 2,
            "title": "如何使用双拼输入？",
            "brief": "在偏好设置的“拼音”页把输入方案改为“双拼”，再选择你熟悉的双拼方案（如小鹤、自然码），每个字只需按两次键。",
            "image": "{base}/static/help/helpinfo_105.png",
        },
        {
            "id": 106,
            "type": 3,
            "title": "不想要的候选词总排在前面怎么办？",
            "detail": "Vesko输入法会按你的输入习惯调整词序。把光标移到不想要的候选词上，按 Ctrl+Delete 即可把它从个人词库中删除；"
            "它以后不会再被优先排列。常用而又不在词库中的词语，可以在偏好设置的“词库”页添加为自定义短语。",
            "image": "{base}/static/help/helpinfo_106.png",
        },
        {
            "id": 107,
            "type": 1,
            "title": "怎样输入中文标点和特殊符号？",
            "brief": "中文状态下直接按标点键即可输入全角中文标点，按 Ctrl+. 在中英文标点之间切换。",
            "detail": "中文状态下，, . ? ! 等键输入的是全角中文标点，\\ 键输入顿号“、”，[ 和 ] 输入书名号。"
            "按 Ctrl+. 可以临时改用英文标点。需要 ①、℃、→、※ 等特殊符号时，在输入法菜单中打开“符号大全”按分类选择。",
            "image": "{base}/static/help/helpinfo_107.png",
        },
        {
            "id": 108,
            "type": 2,
            "title": "遇到问题怎样反馈给我们？",
            "brief": "在本窗口的“意见反馈”页描述问题，最好附上截图，留下联系方式，我们会尽快处理并回复。",
            "image": "{base}/static/help/helpinfo_108.png",
        },
        {
            "id": 109,
            "type": 3,
            "title": "为什么在某些程序里无法使用输入法？",
            "detail": "部分程序需要通过环境变量找到输入法框架。请确认登录环境中已经设置了 GTK_IM_MODULE、QT_IM_MODULE 和 XMODIFIERS，"
            "然后注销并重新登录。以 Flatpak 或 Snap 方式安装的程序可能还需要单独开启输入法支持；"
            "终端中的程序请检查终端本身是否启用了输入法。",
            "image": "{base}/static/help/helpinfo_109.png",
        },
    ],
}


def _page(title, body_html):
    return (
        "<!DOCTYPE html>\n<html lang=\"zh-CN\">\n<head>\n<meta charset=\"utf-8\">\n"
        f"<title>{html.escape(title)}</title>\n"
        "<style>body{font-family:'Noto Sans CJK SC','PingFang SC',sans-serif;margin:24px;color:#333;line-height:1.7}"
        "h1{font-size:20px}h2{font-size:16px;margin-top:20px}li{margin:4px 0}</style>\n"
        f"</head>\n<body>\n<h1>{html.escape(title)}</h1>\n{body_html}\n</body>\n</html>\n"
    ).encode("utf-8")


HOME_PAGE = _page(
    "Vesko输入法",
    "<p>Vesko输入法是一款面向桌面的中文拼音输入法：全拼与双拼、模糊音、个人词库与自定义短语、中英文快速切换。</p>"
    "<ul><li><a href=\"/mac/proxy/?f=embeddedchangelog\">更新日志</a></li>"
    "<li><a href=\"/proxy/inputclient.php?t=userammac\">用户协议</a></li>"
    "<li><a href=\"/proxy/inputclient.php?t=userppmac\">隐私政策</a></li>"
    "<li><a href=\"/proxy/inputclient.php?t=macdatalist\">收集个人信息明示清单</a></li></ul>",
)

USER_AGREEMENT = _page(
    "Vesko输入法用户协议",
    "<p>欢迎使用Vesko输入法。安装或使用本软件即表示你同意本协议。</p>"
    "<h2>一、软件使用</h2><p>你可以在个人设备上免费安装和使用本软件，不得对本软件进行出售、出租或其他商业性再分发。</p>"
    "<h2>二、用户内容</h2><p>你通过意见反馈提交的文字和图片仅用于排查和改进产品问题。</p>"
    "<h2>三、更新</h2><p>我们会不定期发布新版本以修复问题、改进功能，你可以在“关于”页面手动检查更新。</p>"
    "<h2>四、免责</h2><p>在法律允许的范围内，本软件按“现状”提供。</p>",
)

PRIVACY_POLICY = _page(
    "Vesko输入法隐私政策",
    "<p>我们重视你的隐私。本政策说明Vesko输入法收集哪些信息、如何使用以及你如何控制它们。</p>"
    "<h2>一、我们不收集的内容</h2><p>你输入的文字内容不会离开你的设备。</p>"
    "<h2>二、我们收集的信息</h2><p>设备标识、输入法版本、系统版本和渠道号，用于检查更新、统计使用情况和处理反馈。</p>"
    "<h2>三、传输安全</h2><p>携带用户数据的请求在发送前经过压缩和加密。</p>"
    "<h2>四、你的选择</h2><p>你可以在配置中关闭统计上报；关闭后不再发送任何统计事件，已排队的事件会被清除。</p>",
)

DATA_LIST = _page(
    "收集个人信息明示清单",
    "<table border=\"1\" cellpadding=\"6\" cellspacing=\"0\">"
    "<tr><th>信息</th><th>用途</th><th>场景</th></tr>"
    "<tr><td>设备标识</td><td>区分设备、排查问题</td><td>帮助列表、意见反馈、统计事件</td></tr>"
    "<tr><td>输入法版本</td><td>检查更新、适配功能</td><td>帮助列表、意见反馈、统计事件</td></tr>"
    "<tr><td>系统版本与机型</td><td>兼容性分析</td><td>统计事件</td></tr>"
    "<tr><td>渠道号</td><td>区分安装来源</td><td>帮助列表、意见反馈、统计事件</td></tr>"
    "<tr><td>反馈内容、联系方式与截图</td><td>处理你的反馈</td><td>意见反馈（仅在你主动提交时）</td></tr>"
    "<tr><td>评分与评价</td><td>改进产品</td><td>用户评价（仅在你主动提交时）</td></tr>"
    "</table>",
)

CHANGE_LOG = _page(
    "更新日志",
    "<h2>1.1.0</h2><ul>"
    "<li>“关于”页面安装新版本时显示进度，安装失败可以重试。</li>"
    "<li>评价页面显示综合评分和各星级占比。</li>"
    "<li>协助调试模式关闭后窗口会在倒计时结束时自动隐藏。</li></ul>"
    "<h2>1.0.0</h2><ul>"
    "<li>全新的帮助与反馈窗口：常见问题列表会自动更新，反馈时可以附带截图。</li>"
    "<li>“关于”页面支持手动检查更新和用户评价。</li>"
    "<li>新增协助调试模式，便于排查疑难问题。</li>"
    "<li>权限引导窗口会说明每项功能需要的系统权限。</li></ul>"
    "<h2>0.9.0</h2><ul>"
    "<li>支持双拼方案：小鹤、自然码。</li>"
    "<li>模糊音设置新增 an=ang、en=eng、in=ing。</li>"
    "<li>修复部分程序中候选窗口位置不正确的问题。</li></ul>",
)

ABOUT_PAGES = {
    "userammac": USER_AGREEMENT,
    "userppmac": PRIVACY_POLICY,
    "macdatalist": DATA_LIST,
}

NOT_FOUND_PAGE = _page("页面不存在", "<p>你访问的页面不存在。</p>")

# 1x1 transparent GIF answered by the plain pingback address.
PIXEL_GIF = (
    b"GIF89a\x01\x00\x01\x00\x80\x00\x00\x00\x00\x00\xff\xff\xff!\xf9\x04\x01\x00\x00\x00\x00"
    b",\x00\x00\x00\x00\x01\x00\x01\x00\x00\x02\x02D\x01\x00;"
)
