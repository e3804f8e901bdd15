import QtQuick 2.15
import QtQuick.Window 2.15
Window {
    width: 800; height: 480; visible: true; title: "Launcher"; color: "#1b1e25"
    Rectangle {
        id: banner
        width: parent.width; height: apps.connected ? 0 : 40; color: "#f2c14e"; clip: true
        Text { anchors.centerIn: parent; text: "No partner is connected"; color: "#1b1e25"; font.pixelSize: 16 }
    }
    GridView {
        id: grid
        anchors { fill: parent; margins: 16; topMargin: banner.height + 16 }
        cellWidth: width / Math.max(1, Math.floor(width / 128)); cellHeight: 136
        model: apps; focus: true; clip: true
        currentIndex: apps.currentIndex; onCurrentIndexChanged: apps.currentIndex = currentIndex
        Keys.onReturnPressed: apps.click(currentIndex)
        highlightMoveDuration: 100; highlight: Rectangle { radius: 10; color: "#2f3d5c"; border { color: "#8ab4f8"; width: 2 } }
        delegate: Item {
            width: grid.cellWidth; height: grid.cellHeight
            Image {
                id: icon
                x: (parent.width - 56) / 2; y: 16; width: 56; height: 56; sourceSize: Qt.size(56, 56)
                source: icons[model.uniqueId] ? "image://icon/" + icons[model.uniqueId] : ""
            }
            Rectangle {
                anchors.fill: icon; radius: 14; visible: icon.status !== Image.Ready
                color: Qt.hsla(model.name.charCodeAt(0) * 0.37 % 1, 0.4, 0.36, 1)
                Text { anchors.centerIn: parent; text: model.name.charAt(0); color: "white"; font.pixelSize: 28 }
            }
            Text {
                anchors { top: icon.bottom; left: parent.left; right: parent.right; margins: 8 }
                text: model.name; color: "#f0f2f5"; font.pixelSize: 14; textFormat: Text.PlainText
                horizontalAlignment: Text.AlignHCenter; wrapMode: Text.Wrap; maximumLineCount: 2; elide: Text.ElideRight
            }
            MouseArea { anchors.fill: parent; onClicked: { apps.currentIndex = index; apps.click(index); } }
        }
    }
    Rectangle { // the visible part of the grid
        x: parent.width - 10; y: grid.y + grid.visibleArea.yPosition * grid.height; width: 4; radius: 2
        height: grid.visibleArea.heightRatio * grid.height; visible: height < grid.height; color: "#5b6b8c" } }
